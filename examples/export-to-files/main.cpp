// Writes the documents of a queue to a file, a JSON object a line, and reads them back into another queue.
#include <CorvaneQueue/CorvaneQueue.h>

#include <cstdio>
#include <filesystem>

using namespace CorvaneQueue;

int main(int argc, char** argv) {
  const std::filesystem::path directory = argc > 1 ? argv[1] : ".";
  auto queue = create<Queue>();
  queue->Initialize("Orders");
  queue->MsgType("ORDER");
  queue->SendDocument("<order number=\"1\"/>");
  queue->SendDocument("<order number=\"2\"/>");

  const auto operations = create<Operations>();
  const auto progress = operations->evtProgress(
      [](std::int32_t done, std::int32_t total) { std::printf("%d of %d\n", done, total); });
  const auto orders = operations->NewFilter();
  orders->Where("MsgType", "equal", "ORDER");
  const std::string file = (directory / "orders.jsonl").string();
  std::printf("exported: %d\n", operations->Export("Orders", false, orders, file));

  create<Utility>()->CreateQueue("Copies");
  std::printf("imported: %d\n", operations->Import(file, "Copies"));
}
