#include "StoreSharing.h"

#include "ByteLocks.h"

#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {
constexpr ByteRange sessions{2, 2};  // the ones before were the turns of an older library
}  // namespace

StoreSharing::StoreSharing(File lockFile)
    : lockFile_(std::move(lockFile)),
      page_(lockFile_),
      writers_(page_->writers, page_->writersLock),
      syncers_{Turn(page_->syncers, page_->syncersLock), Turn(page_->moreSyncers, page_->moreSyncersLock)} {}

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
      StoreFile{store}.fail(StoreFile::timeoutExpired,
                            u"timeout expired: another process has been opening it for 30 seconds.");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (joined->isFirst_)
    for (Turn* const turn : {&joined->writers_, &joined->syncers_[0], &joined->syncers_[1]}) turn->prepare();
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
