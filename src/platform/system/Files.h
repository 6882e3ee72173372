// Files and directories of the installation.
#pragma once

#include <CorvaneQueue/Error.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace CorvaneQueue::platform_layer {

// The installation directory: CORVANE_HOME, else $XDG_DATA_HOME/corvane, else ~/.local/share/corvane. It
// need not be there: who writes makes it (makeDirectory). What others than its owner may do in it is taken
// from them, and told in the log. Throws an Error that names what stands there instead of a directory. The
// reference is good until the thread's next call.
const std::filesystem::path& installationDirectory();

// Makes the directory and those above it that are missing, for their owner alone; durable. Throws an Error
// that names the directory, else returns it.
const std::filesystem::path& makeDirectory(const std::filesystem::path& directory);

// An open file that closes itself.
class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  // A file that it makes is for its owner alone. Throws an Error that names the file.
  FileDescriptor(const std::filesystem::path& file, int flags);
  // The same, but holds nothing (-1) when permissions or a read-only file system forbid it.
  static FileDescriptor ifPermitted(const std::filesystem::path& file, int flags);
  // Owns a descriptor that the caller has opened; -1 for none.
  static FileDescriptor adopt(int descriptor) noexcept;
  FileDescriptor(FileDescriptor&& other) noexcept;
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  ~FileDescriptor();
  int get() const noexcept { return descriptor_; }

 private:
  int descriptor_ = -1;
};

// Holds the exclusive lock of a lock file. The system takes it from a process that dies; for one that lives
// and keeps it this waits 30 seconds, then throws an Error. For work that is rare: waiting looks again and
// again.
class FileLock {
 public:
  FileLock(const FileDescriptor& file, const std::filesystem::path& name);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  int descriptor_;
};

// Replaces the file as a whole: written to a temporary one of the same file system (beside it, unless
// named), synced, renamed over it. Call it under a lock.
void replaceFile(const std::filesystem::path& file, std::string_view content,
                 std::filesystem::path temporary = {});

// The name of a file for people, whatever bytes it has.
std::u16string shownPath(const std::filesystem::path& file);

// Permissions, or a file system that may only be read, forbid it.
class NotPermitted : public Error {
 public:
  using Error::Error;
};

// Throws the Error of the last failed system call: what was tried, with which file, and why not.
[[noreturn]] void throwSystemError(std::u16string_view tried, const std::filesystem::path& file);

}  // namespace CorvaneQueue::platform_layer
