// Is told of documents as they arrive, on the Message Queuing store. Another process may send them.
#include <CorvaneQueue/CorvaneQueue.h>

#include <chrono>
#include <cstdio>

using namespace CorvaneQueue;

int main() {
  create<Utility>()->QueueStoreType("msmq");
  auto queue = create<Queue>();
  queue->Initialize("Orders");

  int arrived = 0;
  auto arrivals = queue->evtArrived([&](String& document, String& identifier) {
    std::printf("arrived: %s\n", toUtf8(document).c_str());
    queue->AcknowledgeDocument(identifier);
    ++arrived;
  });
  queue->ReceiveEnable();

  auto sender = create<Queue>();  // as another process would
  sender->Initialize("Orders");
  for (const char* text : {"first", "second"}) sender->SendDocument(text);

  // Events come while the thread pumps. A real worker pumps for as long as it lives.
  while (arrived < 2) Apartment::current().pump(std::chrono::seconds(1));
}
