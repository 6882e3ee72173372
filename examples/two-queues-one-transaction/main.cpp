// Takes a document out of one queue and sends it to another: both happen, or neither. On the database store a
// transaction belongs to the thread, and all its Queue objects take part.
#include <CorvaneQueue/CorvaneQueue.h>

#include <cstdio>

using namespace CorvaneQueue;

int main() {
  create<Utility>()->QueueStoreType("db");
  auto orders = create<Queue>();
  orders->Initialize("Orders");
  auto invoices = create<Queue>();
  invoices->Initialize("Invoices");
  orders->SendDocument("order 1");

  orders->BeginTransaction();
  try {
    if (const auto order = orders->ReceiveNext()) {
      invoices->SendDocument("invoice for " + toUtf8(order->Body()));
      orders->AcknowledgeDocument(order->ID());
    }
    orders->Commit();
  } catch (const Error& error) {
    orders->Abort();  // the order waits again, and there is no invoice
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  const auto invoice = invoices->ReceiveNext();
  std::printf("%s\n", toUtf8(invoice->Body()).c_str());
}
