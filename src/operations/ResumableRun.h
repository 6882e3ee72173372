// Work that puts documents into a queue, and is taken up again where it was killed, cancelled or failed.
#pragma once

#include "OperatedStore.h"

namespace CorvaneQueue {

// How far it has come stands in the store, and changes with the documents. It stays there until who asked for
// the work knows that it has ended: who died before that, and asks again, would have everything twice.
class ResumableRun {
 public:
  // `what` tells it from others of its kind.
  ResumableRun(std::shared_ptr<OperatedStore> store, const char* kind, const std::string& what, String queue);

  // How far runs have come of which nobody was told that they ended, the shortest way first. A mark is what
  // else was noted: a word, or nothing.
  struct Place {
    std::int64_t position = 0;
    std::string mark;
    std::string name;  // of the note
  };
  std::vector<Place> earlier() const;
  // This one goes on there, or begins anew in its stead.
  void takeUp(const Place& place) { noted_ = place.name; }
  // To be stored with what leads there.
  RunNote noteAt(std::int64_t position, const std::string& mark = {});
  // Whether there is something to forget.
  bool isNoted() const noexcept { return !noted_.empty(); }
  void forget() { store_->session().forgetRun(noted_); }

 private:
  std::shared_ptr<OperatedStore> store_;
  std::string work_;
  String queue_;
  std::string noted_;
};

}  // namespace CorvaneQueue
