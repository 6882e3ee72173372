// What a session of a store shares with all others, of this process and of other ones.
#pragma once

#include "SharedPage.h"
#include "StoreState.h"

#include <array>
#include <memory>

namespace CorvaneQueue::platform_layer {

// The file STORE-lock. Its bytes are locked for the turns of those who write and of those who sync, and by
// every session as long as it lives, so that the first one knows that it is the first.
class StoreSharing {
 public:
  // Nothing when the user may not write. Throws an Error when another process takes too long to open or
  // close.
  static std::unique_ptr<StoreSharing> join(const std::filesystem::path& store);

  StoreState& state() noexcept { return *page_.get(); }
  // Call it before the state is used, once for a piece of work. False when it is lost.
  bool isWhole() const noexcept { return page_.mend(); }
  Turn& writers() noexcept { return writers_; }
  // Two may sync at a time.
  std::array<Turn, 2>& syncers() noexcept { return syncers_; }
  // All of them: nobody syncs until they are passed. False, and none is taken, when the time has passed.
  bool takeSyncs(Turn::Deadline deadline);
  void passSyncs() noexcept;
  // No other session is there, and none comes before settle().
  bool isFirst() const noexcept { return isFirst_; }
  void settle();

 private:
  StoreSharing(File lockFile);
  File lockFile_;
  SharedPage<StoreState> page_;
  Turn writers_;
  std::array<Turn, 2> syncers_;
  enum class Tried { Joined, Later, OtherSystem };
  Tried tryJoin();
  bool isFirst_ = false;
};

}  // namespace CorvaneQueue::platform_layer
