#include "File.h"

#include "Handle.h"
#include "OwnLocks.h"

#include <winternl.h>
#include <algorithm>
#include <thread>
#include <vector>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr DWORD allSharing = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE openedAs(const std::filesystem::path& file, DWORD access, DWORD how) noexcept {
  return ::CreateFileW(file.c_str(), access, allSharing, nullptr, how, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

}  // namespace

std::u16string shownPath(const std::filesystem::path& file) {
  const std::wstring& name = file.native();
  return {name.begin(), name.end()};
}
std::string nameBytes(const std::filesystem::path& file) { return toUtf8(shownPath(file)); }

void throwSystemError(std::u16string_view tried, const std::filesystem::path& file) {
  throwFileError(tried, file, errorOf(::GetLastError()));
}

// ---- What the system says of a file

namespace {

std::chrono::nanoseconds since1970(std::int64_t time) noexcept {
  constexpr std::int64_t of1970 = 116444736000000000;  // the system counts tenths of microseconds since 1601
  return std::chrono::nanoseconds((time - of1970) * 100);
}

// Of all states the one that is cheapest to ask for, as many are. The volume is not among what is asked: a
// name that is looked at again is on the same one, and the number of its file names no other there.
FileState stateOf(HANDLE file) noexcept {
  FileState state;
  FILE_STANDARD_INFO size;
  FILE_BASIC_INFO times;
  LARGE_INTEGER number;
  IO_STATUS_BLOCK ignored;
  if (::GetFileInformationByHandleEx(file, FileStandardInfo, &size, sizeof size) == 0 ||
      ::GetFileInformationByHandleEx(file, FileBasicInfo, &times, sizeof times) == 0 ||
      ::NtQueryInformationFile(file, &ignored, &number, sizeof number,
                               static_cast<FILE_INFORMATION_CLASS>(6)) != 0)
    return state;
  state.kind = size.Directory != 0                     ? FileState::Kind::Directory
               : ::GetFileType(file) == FILE_TYPE_DISK ? FileState::Kind::File
                                                       : FileState::Kind::Other;
  state.number = static_cast<std::uint64_t>(number.QuadPart);
  state.names = size.NumberOfLinks;
  state.size = size.EndOfFile.QuadPart;
  state.modified = since1970(times.LastWriteTime.QuadPart);
  state.changed = since1970(times.ChangeTime.QuadPart);
  return state;
}

}  // namespace

FileState FileState::ifThere(const std::filesystem::path& file) noexcept {
  const Handle opened(openedAs(file, FILE_READ_ATTRIBUTES, OPEN_EXISTING));
  return opened.isOpen() ? stateOf(opened.get()) : FileState();
}
FileState FileState::of(const std::filesystem::path& file) {
  const Handle opened(openedAs(file, FILE_READ_ATTRIBUTES, OPEN_EXISTING));
  if (opened.isOpen()) return stateOf(opened.get());
  if (errorOf(::GetLastError()) != std::errc::no_such_file_or_directory) throwSystemError(u"Reading", file);
  return {};
}
bool isWritable(const std::filesystem::path& file) noexcept {
  return Handle(openedAs(file, GENERIC_WRITE, OPEN_EXISTING)).isOpen();
}

// Who has rights in a file is what its directory hands down, a user's own by default.
bool takeFromOthers(const std::filesystem::path&) noexcept { return false; }

// ---- An open file

namespace {

Native openedFor(const std::filesystem::path& file, File::Use use) noexcept {
  constexpr DWORD writing = GENERIC_READ | GENERIC_WRITE;
  // Without the right to write elsewhere: the system puts each write at the end then.
  constexpr DWORD appending = FILE_APPEND_DATA | FILE_READ_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
  switch (use) {
    case File::Use::Read: return nativeOf(openedAs(file, GENERIC_READ, OPEN_EXISTING));
    case File::Use::Change: return nativeOf(openedAs(file, writing, OPEN_EXISTING));
    case File::Use::Create: return nativeOf(openedAs(file, writing, OPEN_ALWAYS));
    case File::Use::Append: return nativeOf(openedAs(file, appending, OPEN_ALWAYS));
    case File::Use::Replace: return nativeOf(openedAs(file, writing, CREATE_ALWAYS));
  }
  return noNative;
}

OVERLAPPED placeOf(std::uint64_t offset) noexcept {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(offset);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return place;
}
constexpr std::size_t mostAtOnce = 1 << 30;
constexpr std::uint64_t lockedAt = 0x7FFFFFFF00000000;  // beyond all content: readers are not kept out

}  // namespace

File::File(std::filesystem::path name, Native native) noexcept : name_(std::move(name)), native_(native) {}
File::File(std::filesystem::path name, Use use) : name_(std::move(name)), native_(openedFor(name_, use)) {
  if (native_ == noNative) throwSystemError(u"Opening", name_);
}
File File::ifPermitted(const std::filesystem::path& name, Use use) {
  File file(name, openedFor(name, use));
  if (file.isOpen()) return file;
  const std::errc why = errorOf(::GetLastError());
  if (why != std::errc::permission_denied && why != std::errc::read_only_file_system)
    throwFileError(u"Opening", name, why);
  return file;
}
File::File(File&& other) noexcept
    : name_(std::move(other.name_)), native_(std::exchange(other.native_, noNative)) {}
File& File::operator=(File&& other) noexcept {
  std::swap(name_, other.name_);
  std::swap(native_, other.native_);
  return *this;
}
File::~File() {
  if (!isOpen()) return;
  forgetLocks(native_);
  ::CloseHandle(handleOf(native_));
}

FileState File::state() const noexcept { return isOpen() ? stateOf(handleOf(native_)) : FileState(); }

std::size_t File::readAt(std::span<std::uint8_t> bytes, std::uint64_t offset) const {
  std::size_t done = 0;
  while (done < bytes.size()) {
    OVERLAPPED place = placeOf(offset + done);
    DWORD count = 0;
    if (::ReadFile(handleOf(native_), &bytes[done],
                   static_cast<DWORD>(std::min(mostAtOnce, bytes.size() - done)), &count, &place) == 0 &&
        ::GetLastError() != ERROR_HANDLE_EOF)
      throwSystemError(u"Reading", name_);
    if (count == 0) break;
    done += count;
  }
  return done;
}
void File::writeAt(std::span<const std::uint8_t> bytes, std::uint64_t offset) const {
  while (!bytes.empty()) {
    OVERLAPPED place = placeOf(offset);
    DWORD count = 0;
    if (::WriteFile(handleOf(native_), bytes.data(), static_cast<DWORD>(std::min(mostAtOnce, bytes.size())),
                    &count, &place) == 0)
      throwSystemError(u"Writing", name_);
    bytes = bytes.subspan(count);
    offset += count;
  }
}
bool File::append(std::string_view text) const noexcept {
  DWORD count = 0;
  OVERLAPPED atTheEnd = placeOf(~std::uint64_t{0});
  return ::WriteFile(handleOf(native_), text.data(), static_cast<DWORD>(text.size()), &count, &atTheEnd) !=
             0 &&
         count == text.size();
}
// The system syncs only what is open to be written. Directories are in the file system's own log.
void File::sync() const {
  if (::FlushFileBuffers(handleOf(native_)) != 0) return;
  if (::GetLastError() != ERROR_ACCESS_DENIED) throwSystemError(u"Syncing", name_);
  if (state().kind == FileState::Kind::Directory) return;
  const Handle writable(openedAs(name_, GENERIC_WRITE, OPEN_EXISTING));
  if (!writable.isOpen() || ::FlushFileBuffers(writable.get()) == 0) throwSystemError(u"Syncing", name_);
}
bool File::reserve(std::int64_t size) const noexcept {
  if (state().size >= size) return true;
  FILE_END_OF_FILE_INFO end{};
  end.EndOfFile.QuadPart = size;
  return ::SetFileInformationByHandle(handleOf(native_), FileEndOfFileInfo, &end, sizeof end) != 0;
}

// ---- A lock file

FileLock::FileLock(const File& file) : native_(file.native()) {
  constexpr auto longest = std::chrono::seconds(30);
  const auto deadline = std::chrono::steady_clock::now() + longest;
  OVERLAPPED place = placeOf(lockedAt);
  while (::LockFileEx(handleOf(native_), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                      &place) == 0) {
    const DWORD why = ::GetLastError();
    if (why != ERROR_LOCK_VIOLATION && why != ERROR_IO_PENDING)
      throwFileError(u"Locking", file.name(), errorOf(why));
    if (std::chrono::steady_clock::now() > deadline)
      throw Error(E_FAIL, {},
                  u"Another process has kept \"" + shownPath(file.name()) +
                      u"\" locked for 30 seconds (is it stopped?); nothing was changed.");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}
FileLock::~FileLock() {
  OVERLAPPED place = placeOf(lockedAt);
  ::UnlockFileEx(handleOf(native_), 0, 1, 0, &place);
}

// ---- Directories, and files as a whole

const std::filesystem::path& makeDirectory(const std::filesystem::path& directory) {
  if (const FileState state = FileState::ifThere(directory); state.isThere()) {
    if (state.kind == FileState::Kind::Directory) return directory;
    throwFileError(u"Using the directory", directory, std::errc::not_a_directory);
  }
  const std::filesystem::path above = directory.parent_path();
  if (!above.empty() && above != directory) makeDirectory(above);
  if (::CreateDirectoryW(directory.c_str(), nullptr) == 0 && ::GetLastError() != ERROR_ALREADY_EXISTS)
    throwSystemError(u"Creating the directory", directory);
  return directory;
}

void removeFile(const std::filesystem::path& file) noexcept { ::DeleteFileW(file.c_str()); }

std::optional<std::int64_t> roomBeside(const std::filesystem::path& file) noexcept {
  ULARGE_INTEGER room;
  if (::GetDiskFreeSpaceExW(file.parent_path().c_str(), &room, nullptr, nullptr) == 0) return std::nullopt;
  return static_cast<std::int64_t>(room.QuadPart);
}

namespace {

// In one step, also over a file that is open: who has it open keeps what it was. Durable.
bool moveAtOnce(const std::filesystem::path& file, const std::filesystem::path& name) noexcept {
  const std::wstring& to = name.native();
  struct Information {
    DWORD flags;
    HANDLE root;
    DWORD bytes;
    wchar_t name[1];
  };
  constexpr auto renaming = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);  // by the rules of other systems
  constexpr DWORD replacing = 1;
  constexpr DWORD whateverIsOpen = 2;
  std::vector<char> place(sizeof(Information) + to.size() * sizeof(wchar_t));
  auto* const information = reinterpret_cast<Information*>(place.data());
  information->flags = replacing | whateverIsOpen;
  information->bytes = static_cast<DWORD>(to.size() * sizeof(wchar_t));
  std::copy(to.begin(), to.end(), information->name);
  const Handle opened(openedAs(file, DELETE | GENERIC_WRITE, OPEN_EXISTING));
  return opened.isOpen() &&
         ::SetFileInformationByHandle(opened.get(), renaming, information,
                                      static_cast<DWORD>(place.size())) != 0 &&
         ::FlushFileBuffers(opened.get()) != 0;
}

void moveOver(const std::filesystem::path& file, const std::filesystem::path& name,
              std::u16string_view tried) {
  const std::filesystem::path target = std::filesystem::absolute(name);
  constexpr int attempts = 50;  // a program that looks through all files may hold one for a moment
  for (int attempt = 1;; ++attempt) {
    if (moveAtOnce(file, target) ||
        ::MoveFileExW(file.c_str(), name.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0)
      return;
    const DWORD why = ::GetLastError();
    if ((why != ERROR_SHARING_VIOLATION && why != ERROR_ACCESS_DENIED) || attempt == attempts)
      throwFileError(tried, file, errorOf(why));
    ::Sleep(10);
  }
}

}  // namespace

void renameFile(const std::filesystem::path& file, const std::filesystem::path& name) {
  File(file, File::Use::Read).sync();
  moveOver(file, name, u"Renaming");
}

void replaceFile(const std::filesystem::path& file, std::string_view content,
                 std::filesystem::path temporary) {
  if (temporary.empty()) (temporary = file) += ".new";
  try {
    {
      const File written(temporary, File::Use::Replace);
      written.writeAt({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, 0);
      written.sync();
    }
    moveOver(temporary, file, u"Replacing");
  } catch (const Error&) {
    removeFile(temporary);
    throw;
  }
}

}  // namespace CorvaneQueue::platform_layer
