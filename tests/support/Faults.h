// Makes one system call on files fail, or the disk be full. Include it in one source of a test program:
// it takes the place of the C library's functions for every library of the process.
#pragma once

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace faults {

// Counts down with every call that writes, syncs, renames or opens; the one that reaches 0 fails.
inline long countdown = -1;
inline bool hasFired = false;
// Bytes that files may still grow by; negative: as much as they like.
inline long long room = -1;

inline void arm(long call) {
  countdown = call;
  hasFired = false;
}
inline void disarm() { countdown = -1; }

inline bool fails(int error) {
  if (countdown < 0 || --countdown != 0) return false;
  countdown = -1;
  hasFired = true;
  errno = error;
  return true;
}
// From now on no sync succeeds.
inline bool doSyncsFail = false;
inline bool failsSync() {
  if (!doSyncsFail) return fails(EIO);
  errno = EIO;
  return true;
}
// Whether writing so many bytes there is beyond the room that is left.
inline bool isFull(int descriptor, long long end) {
  if (room < 0) return false;
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || end <= status.st_size) return false;
  if (end - status.st_size > room) {
    errno = ENOSPC;
    return true;
  }
  room -= end - status.st_size;
  return false;
}
template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace faults

#define EXPORTED __attribute__((visibility("default")))
extern "C" {

EXPORTED ssize_t write(int descriptor, const void* bytes, size_t size) {
  static auto* const real = faults::next<ssize_t(int, const void*, size_t)>("write");
  if (faults::fails(ENOSPC)) return -1;
  if (faults::room >= 0) {
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 &&
        faults::isFull(descriptor, status.st_size + static_cast<long long>(size)))
      return -1;
  }
  return real(descriptor, bytes, size);
}
EXPORTED ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset) {
  static auto* const real = faults::next<ssize_t(int, const void*, size_t, off_t)>("pwrite64");
  if (faults::fails(ENOSPC) || faults::isFull(descriptor, offset + static_cast<long long>(size))) return -1;
  return real(descriptor, bytes, size, offset);
}
EXPORTED ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off_t offset) {
  return pwrite(descriptor, bytes, size, offset);
}
EXPORTED int fsync(int descriptor) {
  static auto* const real = faults::next<int(int)>("fsync");
  return faults::failsSync() ? -1 : real(descriptor);
}
EXPORTED int fdatasync(int descriptor) {
  static auto* const real = faults::next<int(int)>("fdatasync");
  return faults::failsSync() ? -1 : real(descriptor);
}
EXPORTED int ftruncate64(int descriptor, off_t size) {
  static auto* const real = faults::next<int(int, off_t)>("ftruncate64");
  return faults::fails(EIO) || faults::isFull(descriptor, size) ? -1 : real(descriptor, size);
}
EXPORTED int rename(const char* from, const char* to) {
  static auto* const real = faults::next<int(const char*, const char*)>("rename");
  return faults::fails(EIO) ? -1 : real(from, to);
}
EXPORTED int unlink(const char* file) {
  static auto* const real = faults::next<int(const char*)>("unlink");
  struct stat status {};
  if (faults::room >= 0 && ::stat(file, &status) == 0) faults::room += status.st_size;
  return real(file);
}
EXPORTED int open(const char* file, int flags, ...) {
  static auto* const real = faults::next<int(const char*, int, ...)>("open64");
  va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, unsigned);
  va_end(rest);
  return faults::fails(EMFILE) ? -1 : real(file, flags, mode);
}
EXPORTED int open64(const char* file, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, unsigned);
  va_end(rest);
  return open(file, flags, mode);
}
}
