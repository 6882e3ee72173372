// Prints what is in the queues in the text format of Prometheus. It asks for counters alone, however many
// documents wait: run it as often as you like. `corvaneq metrics` prints more of them.
#include <CorvaneQueue/CorvaneQueue.h>

#include <cstdio>

using namespace CorvaneQueue;

int main() {
  auto queue = create<Queue>();
  queue->Initialize("Orders");
  queue->SendDocument("one that waits");

  const auto operations = create<Operations>();
  std::puts("# TYPE corvane_waiting_documents gauge");
  for (const auto& each : create<Queues>()) {
    const auto statistics = operations->Statistics(each->Name());
    std::printf("corvane_waiting_documents{queue=\"%s\"} %d\n", toUtf8(each->Name()).c_str(),
                statistics->Waiting());
  }
}
