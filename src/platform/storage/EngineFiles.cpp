#include "EngineFiles.h"

#include "ByteLocks.h"
#include "Lasting.h"

#include <sqlite3.h>
#include <array>
#include <cstring>

namespace CorvaneQueue::platform_layer {

namespace {

// The engine writes a frame of the log in two pieces, one right behind the other: its header and its page.
// The header is kept until the page comes, and both are written by one call.
struct Frame {
  static constexpr int headerSize = 24;
  static constexpr int pageSize = 4096;
  sqlite3_int64 end;  // of what was written last: headers before it are written again, without a page
  sqlite3_int64 offset;
  int isHeaderKept;
  std::array<char, headerSize + pageSize> bytes;
};

// Known to the engine until the library is unloaded.
class Files {
 public:
  Files() : own_(*(engines_ = sqlite3_vfs_find(nullptr))) {
    own_.szOsFile = frameAt() + static_cast<int>(sizeof(Frame));
    own_.zName = "corvane";
    own_.pNext = nullptr;
    own_.xOpen = open;
    sqlite3_vfs_register(&own_, 0);
  }
  ~Files() { sqlite3_vfs_unregister(&own_); }
  Files(const Files&) = delete;
  Files& operator=(const Files&) = delete;
  const char* name() const noexcept { return own_.zName; }

 private:
  static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* flagsGiven) {
    const int code = engines_->xOpen(engines_, name, file, flags, flagsGiven);
    if (code == SQLITE_OK && (flags & SQLITE_OPEN_WAL) != 0) return openLog(file);
    // Only the store's own file, in a file system of the ordinary kind, has an index.
    if (code != SQLITE_OK || (flags & SQLITE_OPEN_MAIN_DB) == 0 || file->pMethods->iVersion < 2) return code;
    static const sqlite3_io_methods ours = [&] {
      ordinary_ = file->pMethods;
      sqlite3_io_methods methods = *ordinary_;
      methods.xShmLock = lockIndex;
      methods.xShmMap = mapIndex;  // takes a lock too
      return methods;
    }();
    if (file->pMethods == ordinary_) file->pMethods = &ours;
    return code;
  }
  static int lockIndex(sqlite3_file* file, int offset, int count, int flags) {
    return told([&] { return ordinary_->xShmLock(file, offset, count, flags); });
  }
  static int mapIndex(sqlite3_file* file, int page, int size, int isExtended, void volatile** mapped) {
    return told([&] { return ordinary_->xShmMap(file, page, size, isExtended, mapped); });
  }
  template <class Call>
  static int told(const Call& call) {
    forgetFailure();
    const int code = call();
    return code == SQLITE_BUSY && hasLockingFailed() ? SQLITE_IOERR_SHMLOCK : code;
  }

  // ---- The log

  static int frameAt() noexcept {
    constexpr int alignment = alignof(Frame);
    return (engines_->szOsFile + alignment - 1) / alignment * alignment;
  }
  static Frame& frameOf(sqlite3_file* file) noexcept {
    return *reinterpret_cast<Frame*>(reinterpret_cast<char*>(file) + frameAt());
  }
  static int openLog(sqlite3_file* file) {
    static const sqlite3_io_methods ours = [&] {
      log_ = file->pMethods;
      sqlite3_io_methods methods = *log_;
      methods.xWrite = writeLog;
      methods.xRead = [](sqlite3_file* each, void* bytes, int size, sqlite3_int64 offset) {
        return afterHeader(each, [&] { return log_->xRead(each, bytes, size, offset); });
      };
      methods.xTruncate = [](sqlite3_file* each, sqlite3_int64 size) {
        return afterHeader(each, [&] { return log_->xTruncate(each, size); });
      };
      methods.xSync = [](sqlite3_file* each, int flags) {
        return afterHeader(each, [&] { return log_->xSync(each, flags); });
      };
      return methods;
    }();
    frameOf(file) = {};
    if (file->pMethods == log_) file->pMethods = &ours;
    return SQLITE_OK;
  }
  static int writeLog(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
    Frame& frame = frameOf(file);
    if (size == Frame::headerSize && offset >= frame.end && frame.isHeaderKept == 0) {
      std::memcpy(frame.bytes.data(), bytes, Frame::headerSize);
      frame.offset = offset;
      frame.isHeaderKept = 1;
      return SQLITE_OK;
    }
    const bool isItsPage =
        frame.isHeaderKept != 0 && size == Frame::pageSize && offset == frame.offset + Frame::headerSize;
    if (!isItsPage)
      return afterHeader(file, [&] {
        frame.end = offset + size;
        return log_->xWrite(file, bytes, size, offset);
      });
    std::memcpy(&frame.bytes[Frame::headerSize], bytes, Frame::pageSize);
    frame.isHeaderKept = 0;
    frame.end = offset + size;
    return log_->xWrite(file, frame.bytes.data(), static_cast<int>(frame.bytes.size()), frame.offset);
  }
  // A header without its page is not left behind.
  template <class Call>
  static int afterHeader(sqlite3_file* file, const Call& call) {
    Frame& frame = frameOf(file);
    if (frame.isHeaderKept != 0) {
      frame.isHeaderKept = 0;
      const int code = log_->xWrite(file, frame.bytes.data(), Frame::headerSize, frame.offset);
      if (code != SQLITE_OK) return code;
    }
    return call();
  }
  static inline const sqlite3_io_methods* log_ = nullptr;

  static inline sqlite3_vfs* engines_ = nullptr;
  static inline const sqlite3_io_methods* ordinary_ = nullptr;
  sqlite3_vfs own_;
};

}  // namespace

const char* engineFiles() {
  static Lasting<Files> files;
  return files->name();
}

}  // namespace CorvaneQueue::platform_layer
