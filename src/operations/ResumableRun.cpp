#include "ResumableRun.h"

#include "DocumentFile.h"
#include "StoredText.h"

#include <utility>

namespace CorvaneQueue {

ResumableRun::ResumableRun(std::shared_ptr<OperatedStore> store, const char* kind, const std::string& what,
                           String queue)
    : store_(std::move(store)),
      work_(std::string(kind) + " " + checksumText(what)),
      queue_(std::move(queue)) {}

std::vector<ResumableRun::Place> ResumableRun::earlier() const {
  std::vector<Place> places;
  for (RunNote& note : store_->session().notes(work_, queue_)) {
    const std::string rest = note.run.substr(work_.size());  // " MARK > QUEUE" or " > QUEUE"
    std::string mark = rest.starts_with(RunNote::intoQueue) ? "" : rest.substr(1, rest.find(' ', 1) - 1);
    places.push_back({note.position, std::move(mark), std::move(note.run)});
  }
  return places;
}

RunNote ResumableRun::noteAt(std::int64_t position, const std::string& mark) {
  std::string name = work_ + (mark.empty() ? "" : " ") + mark + RunNote::intoQueue + toUtf8(queue_);
  std::string before = std::exchange(noted_, name);
  return {std::move(name), position, std::move(before)};
}

}  // namespace CorvaneQueue
