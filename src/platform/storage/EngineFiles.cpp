#include "EngineFiles.h"

#include "Lasting.h"

#include <sqlite3.h>
#include <cerrno>

namespace CorvaneQueue::platform_layer {

namespace {

// Known to the engine until the library is unloaded.
class Files {
 public:
  Files() : own_(*(engines_ = sqlite3_vfs_find(nullptr))) {
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
    errno = 0;
    const int code = call();
    const bool isSomebodyElses = errno == 0 || errno == EAGAIN || errno == EACCES || errno == EINTR;
    return code == SQLITE_BUSY && !isSomebodyElses ? SQLITE_IOERR_SHMLOCK : code;
  }

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
