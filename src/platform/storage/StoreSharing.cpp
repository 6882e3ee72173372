#include "StoreSharing.h"

#include "ByteLocks.h"

#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {
enum Byte : std::int64_t { writersByte, syncersByte, sessionsByte, moreSyncersByte };
constexpr ByteRange sessions{sessionsByte, sessionsByte};
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
  while (!(joined->isFirst_ = tryLock(joined->lockFile_, sessions, ByteLock::Exclusive)) &&
         !tryLock(joined->lockFile_, sessions, ByteLock::Shared)) {
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

bool StoreSharing::takeSyncs(Turn::Deadline deadline) {
  for (Turn& turn : syncers_)
    if (!turn.take(deadline)) return passSyncs(), false;
  return true;
}
void StoreSharing::passSyncs() noexcept {
  for (Turn& turn : syncers_) turn.pass();
}

void StoreSharing::settle() {
  if (std::exchange(isFirst_, false)) tryLock(lockFile_, sessions, ByteLock::Shared);
}

}  // namespace CorvaneQueue::platform_layer
