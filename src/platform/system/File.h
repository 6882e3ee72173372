// Files and directories.
#pragma once

#include "Native.h"

#include <CorvaneQueue/Error.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace CorvaneQueue::platform_layer {

// What the system says of a file at one moment.
struct FileState {
  enum class Kind { Missing, File, Directory, Other };
  Kind kind = Kind::Missing;
  std::uint64_t device = 0;
  std::uint64_t number = 0;  // on its device
  std::uint64_t names = 0;
  std::int64_t size = 0;                 // bytes
  std::chrono::nanoseconds modified{0};  // since 1970: its content, and its name or permissions too
  std::chrono::nanoseconds changed{0};
  bool isOpenToOthers = false;  // others than its owner have rights in it

  // Missing also when it cannot be looked at.
  static FileState ifThere(const std::filesystem::path& file) noexcept;
  // Throws an Error that names a file which cannot be looked at.
  static FileState of(const std::filesystem::path& file);

  bool isThere() const noexcept { return kind != Kind::Missing; }
  bool isSameFile(const FileState& other) const noexcept {
    return isThere() && other.isThere() && number == other.number && device == other.device;
  }
  bool operator==(const FileState&) const = default;
};

inline bool isThere(const std::filesystem::path& file) noexcept { return FileState::ifThere(file).isThere(); }
// Whether this user may write it.
bool isWritable(const std::filesystem::path& file) noexcept;

// An open file that closes itself, and is closed in programs that this one starts. Errors name the file.
class File {
 public:
  enum class Use {
    Read,
    Change,   // read and write
    Create,   // the same, made if it is missing
    Append,   // written at its end, made if it is missing
    Replace,  // emptied, or made
  };
  File() noexcept = default;
  // A file that it makes is for its owner alone. A directory can be opened to be read.
  File(std::filesystem::path name, Use use);
  // The same, but open for nothing when permissions or a read-only file system forbid it.
  static File ifPermitted(const std::filesystem::path& name, Use use);
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  ~File();

  bool isOpen() const noexcept { return native_ != noNative; }
  const std::filesystem::path& name() const noexcept { return name_; }
  FileState state() const noexcept;

  // Returns how much there was to read: less than asked for at the end of the file.
  std::size_t readAt(std::span<std::uint8_t> bytes, std::uint64_t offset) const;
  void writeAt(std::span<const std::uint8_t> bytes, std::uint64_t offset) const;
  // By a single call, so that what many processes append stays whole. False when it could not be written.
  bool append(std::string_view text) const noexcept;
  // What has been written is on the disk when it returns.
  void sync() const;
  // Gives it its room on the disk, at least that many bytes. False when there is none.
  bool reserve(std::int64_t size) const noexcept;

  // For the system's own calls.
  Native native() const noexcept { return native_; }

 private:
  File(std::filesystem::path name, Native native) noexcept;
  std::filesystem::path name_;
  Native native_ = noNative;
};

// Holds the exclusive lock of a lock file. The system takes it from a process that dies; for one that lives
// and keeps it this waits 30 seconds, then throws an Error. For work that is rare: waiting looks again and
// again.
class FileLock {
 public:
  explicit FileLock(const File& file);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

 private:
  Native native_;
};

// Makes the directory and those above it that are missing, for their owner alone; durable. Throws an Error
// that names the directory, else returns it.
const std::filesystem::path& makeDirectory(const std::filesystem::path& directory);

// One that is not there is no error.
void removeFile(const std::filesystem::path& file) noexcept;

// Bytes that this user may still store beside a file; nothing when the system does not tell.
std::optional<std::int64_t> roomBeside(const std::filesystem::path& file) noexcept;

// Replaces the file as a whole: written to a temporary one of the same file system (beside it, unless
// named), synced, renamed over it. Call it under a lock.
void replaceFile(const std::filesystem::path& file, std::string_view content,
                 std::filesystem::path temporary = {});

// Syncs the file and gives it another name, in the same directory; durable. Replaces what has that name.
void renameFile(const std::filesystem::path& file, const std::filesystem::path& name);

// Takes the rights of others in an own file or directory away. Whether there were some.
bool takeFromOthers(const std::filesystem::path& file) noexcept;

// The name of a file for people, whatever bytes it has.
std::u16string shownPath(const std::filesystem::path& file);
// The same of any bytes: as UTF-8, or as far as they are ASCII.
std::u16string shownBytes(std::string_view bytes);
// The name of a file for those who take it as bytes.
std::string nameBytes(const std::filesystem::path& file);

// Permissions, or a file system that may only be read, forbid it.
class NotPermitted : public Error {
 public:
  using Error::Error;
};

// Throws an Error: what was tried, with which file, and why not.
[[noreturn]] void throwFileError(std::u16string_view tried, const std::filesystem::path& file, std::errc why);
[[noreturn]] void throwFileError(std::u16string_view tried, const std::filesystem::path& file,
                                 const std::error_code& why);
// Of the last failed call of the system.
[[noreturn]] void throwSystemError(std::u16string_view tried, const std::filesystem::path& file);

}  // namespace CorvaneQueue::platform_layer
