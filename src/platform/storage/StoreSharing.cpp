#include "StoreSharing.h"

#include "ByteLocks.h"

#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {
// Bytes of the lock file, the same on every system.
enum Byte : std::int64_t {
  writersByte,
  syncersByte,
  sessionsByte,
  moreSyncersByte,
  joiningByte,
  systemsByte,  // and one behind it for each system
};
constexpr ByteRange only(std::int64_t byte) { return {byte, byte}; }
constexpr ByteRange sessions = only(sessionsByte);
constexpr ByteRange joining = only(joiningByte);
// Systems share neither wake-ups nor, everywhere, their views of a file.
constexpr ByteRange ownSystem = only(systemsByte + static_cast<std::int64_t>(thisSystem));
constexpr ByteRange otherSystem = only(
    systemsByte + static_cast<std::int64_t>(thisSystem == System::Linux ? System::Windows : System::Linux));
}  // namespace

StoreSharing::StoreSharing(File lockFile)
    : lockFile_(std::move(lockFile)),
      page_(lockFile_),
      writers_(lockFile_, writersByte, page_->writers, page_->writersQueue),
      syncers_{Turn(lockFile_, syncersByte, page_->syncers, page_->syncersQueue),
               Turn(lockFile_, moreSyncersByte, page_->moreSyncers, page_->moreSyncersQueue)} {}

std::unique_ptr<StoreSharing> StoreSharing::join(const std::filesystem::path& store) {
  std::filesystem::path name = store;
  name += "-lock";
  File lockFile = File::ifPermitted(name, File::Use::Create);
  if (!lockFile.isOpen()) return nullptr;
  std::unique_ptr<StoreSharing> joined(new StoreSharing(std::move(lockFile)));
  constexpr auto longest = std::chrono::seconds(30);
  const auto deadline = std::chrono::steady_clock::now() + longest;
  for (Tried tried; (tried = joined->tryJoin()) != Tried::Joined;) {
    if (tried == Tried::OtherSystem)
      StoreFile{store}.fail(
          StoreError::permissionDenied,
          u"processes of another operating system work with it. End them first: one after the other is fine.");
    if (std::chrono::steady_clock::now() > deadline)
      StoreFile{store}.fail(StoreError::timeoutExpired,
                            u"timeout expired: another process has been opening it for 30 seconds.");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (joined->isFirst_)
    for (Turn* const turn : {&joined->writers_, &joined->syncers_[0], &joined->syncers_[1]})
      turn->beginAnew();
  return joined;
}

// Who joins keeps others from joining until it is known whether it is the first, and for as long as that one
// works alone.
StoreSharing::Tried StoreSharing::tryJoin() {
  if (!tryLock(lockFile_, joining, ByteLock::Exclusive)) return Tried::Later;
  const bool isOtherThere = !tryLock(lockFile_, otherSystem, ByteLock::Exclusive);
  if (!isOtherThere) tryLock(lockFile_, otherSystem, ByteLock::None);
  isFirst_ = !isOtherThere && tryLock(lockFile_, sessions, ByteLock::Exclusive);
  const bool isIn = !isOtherThere && (isFirst_ || tryLock(lockFile_, sessions, ByteLock::Shared)) &&
                    tryLock(lockFile_, ownSystem, ByteLock::Shared);
  if (!isFirst_) tryLock(lockFile_, joining, ByteLock::None);
  return isOtherThere ? Tried::OtherSystem : isIn ? Tried::Joined : Tried::Later;
}

bool StoreSharing::takeSyncs(Turn::Deadline deadline) {
  for (Turn& turn : syncers_)
    if (!turn.take(deadline)) return passSyncs(), false;
  return true;
}
void StoreSharing::passSyncs() noexcept {
  for (Turn& turn : syncers_) turn.pass();
}

void StoreSharing::settle() {
  if (!std::exchange(isFirst_, false)) return;
  tryLock(lockFile_, sessions, ByteLock::Shared);
  tryLock(lockFile_, joining, ByteLock::None);
}

}  // namespace CorvaneQueue::platform_layer
