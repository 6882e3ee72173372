// Runs a program for each document of a queue.
#include "Operating.h"
#include "Output.h"
#include "System.h"

#include <CorvaneQueue/Worker.h>

#include <stop_token>

namespace corvaneq {

using namespace CorvaneQueue;

void work(const std::string& queue, const std::vector<std::string>& command, const WorkOptions& options) {
  mustBeThere(queue);
  std::stop_source stop;
  const EndRequests requests([&] { stop.request_stop(); });
  WorkerOptions given;
  given.attempts = options.attempts;
  given.pause = std::chrono::milliseconds(options.pauseSeconds * 1000);
  Worker worker(
      argument("queue name", queue),
      [&](const WorkerDocument& document) {
        try {
          const std::string end = howItEnded(command,
                                             {{"CORVANE_ID", toUtf8(document.ID)},
                                              {"CORVANE_LABEL", toUtf8(document.Label)},
                                              {"CORVANE_ATTEMPT", std::to_string(document.attempt)}},
                                             toUtf8(document.Body));
          if (!end.empty()) refuse(command[0] + " " + end + ".");
        } catch (const CannotRun& error) {
          throw StopWorker(error.what());
        }
      },
      given);
  if (options.isUntilEmpty)
    worker.runUntilEmpty(stop.get_token());
  else
    worker.run(stop.get_token());
  print({{"action", "worked"}, {"documents", worker.done()}, {"failed", worker.failed()}});
}

}  // namespace corvaneq
