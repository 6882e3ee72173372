#include "ByteLocks.h"

#include "Handle.h"
#include "OwnLocks.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <vector>

namespace CorvaneQueue::platform_layer {

namespace {

// Each exclusive lock has a mark beside it, far beyond it: who only wants to know whether bytes are held
// looks at the marks, by a shared lock for a moment, and never keeps anybody from taking the lock itself.
constexpr std::int64_t marks = std::int64_t{1} << 62;

class Range {
 public:
  Range(ByteRange range, std::int64_t offset = 0) noexcept {
    const auto from = static_cast<std::uint64_t>(range.from + offset);
    place_.Offset = static_cast<DWORD>(from);
    place_.OffsetHigh = static_cast<DWORD>(from >> 32);
    const auto size = static_cast<std::uint64_t>(range.to - range.from + 1);
    low_ = static_cast<DWORD>(size);
    high_ = static_cast<DWORD>(size >> 32);
  }
  bool lock(const File& file, DWORD flags) noexcept {
    return ::LockFileEx(handleOf(file.native()), flags, 0, low_, high_, &place_) != 0;
  }
  void unlock(const File& file) noexcept { ::UnlockFileEx(handleOf(file.native()), 0, low_, high_, &place_); }

 private:
  OVERLAPPED place_{};
  DWORD low_;
  DWORD high_;
};

// By first byte.
struct Held {
  std::int64_t to;
  ByteLock lock;
};
using HeldRanges = std::map<std::int64_t, Held>;

struct Account {
  std::mutex mutex;
  std::map<Native, HeldRanges> files;
};
// Never destroyed: files of clients may be closed at the very end.
Account& account() {
  static Account* const all = new Account;
  return *all;
}

bool isSomebodyElses(DWORD why) noexcept {
  return why == ERROR_LOCK_VIOLATION || why == ERROR_IO_PENDING || why == 0;
}

void release(const File& file, std::int64_t from, const Held& held) noexcept {
  if (held.lock == ByteLock::Exclusive) Range({from, held.to}, marks).unlock(file);
  Range({from, held.to}).unlock(file);
}

}  // namespace

void forgetLocks(Native file) noexcept {
  const std::lock_guard guard(account().mutex);
  account().files.erase(file);
}

bool tryLock(const File& file, ByteRange range, ByteLock lock) {
  const std::lock_guard guard(account().mutex);
  HeldRanges& held = account().files[file.native()];
  if (const auto found = held.find(range.from); found != held.end() && found->second.to == range.to) {
    if (found->second.lock == lock) return true;
    release(file, range.from, found->second);
    held.erase(found);
  }
  if (lock == ByteLock::None) return true;
  const bool isExclusive = lock == ByteLock::Exclusive;
  const DWORD how = isExclusive ? LOCKFILE_EXCLUSIVE_LOCK : 0;
  if (!Range(range).lock(file, how | LOCKFILE_FAIL_IMMEDIATELY)) {
    if (isSomebodyElses(::GetLastError())) return false;
    throwSystemError(u"Locking", file.name());
  }
  held.emplace(range.from, Held{range.to, lock});
  // Whoever looks at the mark does so for a moment. Not left to the system, whose waking is not what counts
  // here.
  while (isExclusive && !Range(range, marks).lock(file, how | LOCKFILE_FAIL_IMMEDIATELY)) {
    if (!isSomebodyElses(::GetLastError())) throwSystemError(u"Locking", file.name());
    ::Sleep(1);
  }
  return true;
}

void forgetFailure() noexcept { ::SetLastError(0); }
bool hasLockingFailed() noexcept { return !isSomebodyElses(::GetLastError()); }

void unlockAll(const File& file) noexcept {
  const std::lock_guard guard(account().mutex);
  const auto found = account().files.find(file.native());
  if (found == account().files.end()) return;
  for (const auto& [from, held] : found->second) release(file, from, held);
  account().files.erase(found);
}

namespace {

bool isMarked(const File& file, ByteRange range) {
  Range marked(range, marks);
  if (marked.lock(file, LOCKFILE_FAIL_IMMEDIATELY)) {
    marked.unlock(file);
    return false;
  }
  if (!isSomebodyElses(::GetLastError())) throwSystemError(u"Locking", file.name());
  return true;
}

// The first byte that is held, of a range in which this one holds none.
std::optional<std::int64_t> firstMarked(const File& file, ByteRange range) {
  if (!isMarked(file, range)) return std::nullopt;
  while (range.from < range.to) {
    const std::int64_t middle = range.from + (range.to - range.from) / 2;
    if (isMarked(file, {range.from, middle}))
      range.to = middle;
    else
      range.from = middle + 1;
  }
  return isMarked(file, range) ? std::optional(range.from)
                               : std::nullopt;  // it may have been let go meanwhile
}

// What is left of the range without what this file holds itself.
std::vector<ByteRange> notOwn(const File& file, ByteRange range) {
  std::vector<ByteRange> left;
  const std::lock_guard guard(account().mutex);
  const auto found = account().files.find(file.native());
  if (found != account().files.end())
    for (const auto& [from, held] : found->second) {
      if (held.to < range.from) continue;
      if (from > range.to) break;
      if (from > range.from) left.push_back({range.from, from - 1});
      range.from = held.to + 1;
    }
  if (range.from <= range.to) left.push_back(range);
  return left;
}

}  // namespace

std::optional<ByteRange> heldByOther(const File& file, ByteRange range) {
  for (const ByteRange& each : notOwn(file, range))
    if (const auto byte = firstMarked(file, each)) return ByteRange{*byte, *byte};
  return std::nullopt;
}

}  // namespace CorvaneQueue::platform_layer
