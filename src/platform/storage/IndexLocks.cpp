#include "IndexLocks.h"

#include <sqlite3.h>
#include <cerrno>

namespace CorvaneQueue::platform_layer {

namespace {

// Those of the engine's for files of this system: one set for all files.
const sqlite3_io_methods* engineMethods = nullptr;

int lockIndex(sqlite3_file* file, int offset, int count, int flags) {
  errno = 0;
  const int code = engineMethods->xShmLock(file, offset, count, flags);
  const bool isSomebodyElses = errno == 0 || errno == EAGAIN || errno == EACCES || errno == EINTR;
  return code == SQLITE_BUSY && !isSomebodyElses ? SQLITE_IOERR_SHMLOCK : code;
}

const sqlite3_io_methods* ourMethods(const sqlite3_io_methods& engines) noexcept {
  static const sqlite3_io_methods ours = [&] {
    engineMethods = &engines;
    sqlite3_io_methods methods = engines;
    methods.xShmLock = lockIndex;
    return methods;
  }();
  return &ours;
}

}  // namespace

void reportFailingLocks(sqlite3* handle) noexcept {
  sqlite3_file* file = nullptr;
  if (sqlite3_file_control(handle, "dbo", SQLITE_FCNTL_FILE_POINTER, &file) != SQLITE_OK || file == nullptr ||
      file->pMethods == nullptr || file->pMethods->iVersion < 2)
    return;
  const sqlite3_io_methods* const ours = ourMethods(*file->pMethods);
  if (file->pMethods == engineMethods) file->pMethods = ours;
}

}  // namespace CorvaneQueue::platform_layer
