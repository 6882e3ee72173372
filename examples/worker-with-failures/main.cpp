// A worker that survives bad documents: they are tried again, and go to the queue Orders.failed in the end.
#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/Worker.h>

#include <chrono>
#include <cstdio>
#include <stdexcept>

using namespace CorvaneQueue;

int main() {
  auto queue = create<Queue>();
  queue->Initialize("Orders");
  for (const char* text : {"good", "bad", "also good"}) queue->SendDocument(text);

  Worker worker("Orders",
                [](const WorkerDocument& document) {
                  std::printf("%s, attempt %d\n", toUtf8(document.Body).c_str(), document.attempt);
                  if (document.Body == u"bad") throw std::runtime_error("there is no such customer");
                },
                {.attempts = 2, .pause = std::chrono::milliseconds(10)});
  worker.runUntilEmpty();  // run(stop) works until it is asked to stop
  std::printf("%lld done, %lld given up\n", static_cast<long long>(worker.done()),
              static_cast<long long>(worker.failed()));

  const auto operations = create<Operations>();
  const auto failed = operations->Search("Orders.failed");
  while (failed->NextPage())
    for (const auto& document : failed)
      std::printf("%s: %s\n", toUtf8(document->Body()).c_str(), toUtf8(document->Failure()).c_str());
}
