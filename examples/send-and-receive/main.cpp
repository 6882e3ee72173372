// Sends documents and takes them out again, on the database store: by asking for the next one.
#include <CorvaneQueue/CorvaneQueue.h>

#include <cstdio>

using namespace CorvaneQueue;

int main() {
  create<Utility>()->QueueStoreType("db");  // once for an installation; "msmq" is the default
  auto queue = create<Queue>();
  queue->Initialize("Orders");

  queue->MsgType("ORDER");
  for (int number = 1; number <= 3; ++number) {
    queue->ObjectID(std::to_string(number));
    queue->SendDocument("<order number=\"" + std::to_string(number) + "\"/>");  // durable now
  }

  // The oldest document stays until it is acknowledged: a crash before that loses nothing.
  while (auto document = queue->ReceiveNext()) {
    std::printf("%s: %s\n", toUtf8(document->Label()).c_str(), toUtf8(document->Body()).c_str());
    queue->AcknowledgeDocument(document->ID());
  }
}
