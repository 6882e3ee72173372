// Makes one system call on files fail, or the disk be full, or lets an observer see what is done to files.
// Include it in one source of a test program: it takes the place of the C library's functions for every
// library of the process.
#pragma once

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <new>
#include <utility>

namespace faults {

// What a call is about to do. Files are named by descriptor or by path.
struct Call {
  enum Kind { Open, Write, Resize, Allocate, Sync, Rename, Remove, MakeDirectory };
  Kind kind;
  int descriptor = -1;
  const char* path = nullptr;
  const char* newPath = nullptr;
  const void* bytes = nullptr;
  long long offset = -1;  // -1: where the descriptor stands; the size of a file that is resized
  long long size = 0;
};
// Sees every call that changes files; `perform` makes it and gives its result.
struct Observer {
  virtual ~Observer() = default;
  virtual long during(const Call& call, const std::function<long()>& perform) = 0;
};
inline Observer* observer = nullptr;

template <class Perform>
auto observed(const Call& call, Perform&& perform) -> decltype(perform()) {
  return observer == nullptr ? perform() : static_cast<decltype(perform())>(observer->during(call, perform));
}

// Bytes that files may still grow by, for this process and those that it forks; negative: as much as they
// like.
inline std::atomic<long long>& room() {
  static auto* const shared =
      new (::mmap(nullptr, sizeof(long long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
          std::atomic<long long>(-1);
  return *shared;
}

// Counts down with every call that writes, syncs, renames or opens; the one that reaches 0 fails.
inline long countdown = 0;
inline bool fails(int error) { return countdown != 0 && --countdown == 0 && (errno = error, true); }
// Runs the body while that call of it fails; false when it does not make so many.
template <class Body>
bool whileFailing(long call, Body&& body) {
  countdown = call;
  body();
  return std::exchange(countdown, 0) == 0;
}
// From now on no sync succeeds.
inline bool doSyncsFail = false;
inline bool failsSync() { return doSyncsFail ? (errno = EIO, true) : fails(EIO); }
// Whether there is no room for that many bytes at the offset of a file, or at its end.
inline bool isFull(int descriptor, std::size_t size, off_t offset = -1) {
  struct stat status {};
  long long left = room();
  if (left < 0 || ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const long long end = (offset < 0 ? status.st_size : offset) + static_cast<long long>(size);
  const long long growth = end - status.st_size;
  if (growth <= 0) return false;
  do {
    if (left < 0) return false;
    if (growth > left) return errno = ENOSPC, true;
  } while (!room().compare_exchange_weak(left, left - growth));
  return false;
}
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// The stand-in calls the real one as `real`, and tells what it is about to do.
#define REAL(type, name) static auto* const real = next<type>(name)
#define EXPORTED __attribute__((visibility("default")))
extern "C" {
EXPORTED ssize_t write(int descriptor, const void* bytes, size_t size) {
  REAL(ssize_t(int, const void*, size_t), "write");
  if (fails(ENOSPC) || isFull(descriptor, size)) return -1;
  return observed(
      {.kind = Call::Write, .descriptor = descriptor, .bytes = bytes, .size = static_cast<long long>(size)},
      [&] { return real(descriptor, bytes, size); });
}
EXPORTED ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset) {
  REAL(ssize_t(int, const void*, size_t, off_t), "pwrite64");
  if (fails(ENOSPC) || isFull(descriptor, size, offset)) return -1;
  return observed({.kind = Call::Write,
                   .descriptor = descriptor,
                   .bytes = bytes,
                   .offset = offset,
                   .size = static_cast<long long>(size)},
                  [&] { return real(descriptor, bytes, size, offset); });
}
EXPORTED ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off_t offset) {
  return pwrite(descriptor, bytes, size, offset);
}
EXPORTED int fsync(int descriptor) {
  REAL(int(int), "fsync");
  if (failsSync()) return -1;
  return observed({.kind = Call::Sync, .descriptor = descriptor}, [&] { return real(descriptor); });
}
EXPORTED int fdatasync(int descriptor) {
  REAL(int(int), "fdatasync");
  if (failsSync()) return -1;
  return observed({.kind = Call::Sync, .descriptor = descriptor}, [&] { return real(descriptor); });
}
EXPORTED int ftruncate64(int descriptor, off_t size) noexcept {
  REAL(int(int, off_t), "ftruncate64");
  if (fails(EIO) || isFull(descriptor, 0, size)) return -1;
  return observed({.kind = Call::Resize, .descriptor = descriptor, .offset = size},
                  [&] { return real(descriptor, size); });
}
EXPORTED int ftruncate(int descriptor, off_t size) noexcept { return ftruncate64(descriptor, size); }
EXPORTED int posix_fallocate(int descriptor, off_t offset, off_t size) {
  REAL(int(int, off_t, off_t), "posix_fallocate64");
  return observed({.kind = Call::Allocate, .descriptor = descriptor, .offset = offset, .size = size},
                  [&] { return real(descriptor, offset, size); });
}
EXPORTED int rename(const char* from, const char* to) noexcept {
  REAL(int(const char*, const char*), "rename");
  if (fails(EIO)) return -1;
  return observed({.kind = Call::Rename, .path = from, .newPath = to}, [&] { return real(from, to); });
}
EXPORTED int statvfs(const char* path, struct statvfs* disk) noexcept {
  REAL(int(const char*, struct statvfs*), "statvfs64");
  const int result = real(path, disk);
  if (result == 0 && room() >= 0) disk->f_bavail = static_cast<unsigned long>(room()) / disk->f_frsize;
  return result;
}
EXPORTED int unlink(const char* file) noexcept {
  REAL(int(const char*), "unlink");
  struct stat status {};
  if (room() >= 0 && ::stat(file, &status) == 0) room() += status.st_size;
  return observed({.kind = Call::Remove, .path = file}, [&] { return real(file); });
}
EXPORTED int remove(const char* file) noexcept {
  REAL(int(const char*), "remove");
  return observed({.kind = Call::Remove, .path = file}, [&] { return real(file); });
}
EXPORTED int mkdir(const char* directory, mode_t mode) noexcept {
  REAL(int(const char*, mode_t), "mkdir");
  return observed({.kind = Call::MakeDirectory, .path = directory}, [&] { return real(directory, mode); });
}
EXPORTED int open(const char* file, int flags, ...) {
  REAL(int(const char*, int, ...), "open64");
  va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, unsigned);
  va_end(rest);
  if (fails(EMFILE)) return -1;
  return observed({.kind = Call::Open, .path = file}, [&] { return real(file, flags, mode); });
}
EXPORTED int open64(const char* file, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, unsigned);
  va_end(rest);
  return open(file, flags, mode);
}
}
#undef EXPORTED
#undef REAL

}  // namespace faults
