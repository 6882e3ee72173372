// Handles of the system that close themselves, and what its errors are called.
#pragma once

#include "Native.h"

#include <windows.h>
#include <system_error>
#include <utility>

namespace CorvaneQueue::platform_layer {

inline HANDLE handleOf(Native native) noexcept { return reinterpret_cast<HANDLE>(native); }
inline Native nativeOf(HANDLE handle) noexcept { return reinterpret_cast<Native>(handle); }
static_assert(sizeof(Native) == sizeof(HANDLE));

class Handle {
 public:
  explicit Handle(HANDLE handle) noexcept : handle_(handle) {}
  ~Handle() {
    if (isOpen()) ::CloseHandle(handle_);
  }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  bool isOpen() const noexcept { return handle_ != INVALID_HANDLE_VALUE && handle_ != nullptr; }
  HANDLE get() const noexcept { return handle_; }

 private:
  HANDLE handle_;
};

// What the last failed call of the system means.
inline std::errc errorOf(DWORD code) noexcept {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_INVALID_NAME: return std::errc::no_such_file_or_directory;
    case ERROR_ACCESS_DENIED: return std::errc::permission_denied;
    case ERROR_WRITE_PROTECT: return std::errc::read_only_file_system;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION: return std::errc::device_or_resource_busy;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL: return std::errc::no_space_on_device;
    case ERROR_ALREADY_EXISTS:
    case ERROR_FILE_EXISTS: return std::errc::file_exists;
    case ERROR_TOO_MANY_OPEN_FILES: return std::errc::too_many_files_open;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY: return std::errc::not_enough_memory;
    case ERROR_DIRECTORY: return std::errc::not_a_directory;
    default: return std::errc::io_error;
  }
}

}  // namespace CorvaneQueue::platform_layer
