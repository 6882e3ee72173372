#include "StoreSharing.h"

#include <thread>

namespace CorvaneQueue::platform_layer {

namespace {
enum Byte : std::int64_t { writersByte, syncersByte, sessionsByte };
}  // namespace

StoreSharing::StoreSharing(FileDescriptor lockFile, const std::filesystem::path& name)
    : lockFile_(std::move(lockFile)),
      page_(lockFile_, name),
      writers_(lockFile_, writersByte, page_->writers),
      syncers_(lockFile_, syncersByte, page_->syncers) {}

std::unique_ptr<StoreSharing> StoreSharing::join(const std::filesystem::path& store) {
  std::filesystem::path name = store;
  name += "-lock";
  FileDescriptor lockFile = FileDescriptor::ifPermitted(name, O_RDWR | O_CREAT);
  if (lockFile.get() < 0) return nullptr;
  std::unique_ptr<StoreSharing> joined(new StoreSharing(std::move(lockFile), name));
  constexpr auto longest = std::chrono::seconds(30);
  const auto deadline = std::chrono::steady_clock::now() + longest;
  const int descriptor = joined->lockFile_.get();
  while (!(joined->isFirst_ = tryByteLock(descriptor, sessionsByte, ByteLock::Exclusive)) &&
         !tryByteLock(descriptor, sessionsByte, ByteLock::Shared)) {
    if (std::chrono::steady_clock::now() > deadline)
      StoreFile{store}.fail(StoreFile::timeoutExpired,
                            u"timeout expired: another process has been opening it for 30 seconds.");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return joined;
}

void StoreSharing::settle() {
  if (std::exchange(isFirst_, false)) tryByteLock(lockFile_.get(), sessionsByte, ByteLock::Shared);
}

}  // namespace CorvaneQueue::platform_layer
