// Looks at what has been acknowledged, and puts some of it back to be worked on once more.
#include <CorvaneQueue/CorvaneQueue.h>

#include <cstdio>

using namespace CorvaneQueue;

int main() {
  auto queue = create<Queue>();
  queue->Initialize("Orders");
  queue->JournalEnabled(true);  // on the Message Queuing store; the database store keeps one always
  for (const char* customer : {"Miller", "Smith"}) {
    queue->ObjectID(customer);
    queue->SendDocument(std::string("an order of ") + customer);
  }
  const auto operations = create<Operations>();
  operations->Acknowledge("Orders");  // as if somebody had received them

  auto journal = create<Queues>()->Item("Orders")->Journal()->Messages();
  journal->Refresh();  // a list is empty until it is read
  for (const auto& message : journal)
    std::printf("acknowledged: %s %s\n", toUtf8(message->ID()).c_str(), toUtf8(message->Body()).c_str());

  const auto ofSmith = operations->NewFilter();
  ofSmith->Where("ObjectID", "equal", "Smith");
  std::printf("put back: %d\n", operations->Redrive("Orders", ofSmith));
  std::printf("waiting now: %d\n", operations->Statistics("Orders")->Waiting());
}
