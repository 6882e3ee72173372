#include "File.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

namespace CorvaneQueue::platform_layer {

std::u16string shownPath(const std::filesystem::path& file) { return shownBytes(file.native()); }
std::string nameBytes(const std::filesystem::path& file) { return file.native(); }

void throwSystemError(std::u16string_view tried, const std::filesystem::path& file) {
  throwFileError(tried, file, static_cast<std::errc>(errno));
}

// ---- What the system says of a file

namespace {

constexpr mode_t ofOthers = 077;

FileState stateOf(const struct stat& status) noexcept {
  using namespace std::chrono;
  const auto since1970 = [](const timespec& time) {
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
  };
  FileState state;
  state.kind = S_ISREG(status.st_mode)   ? FileState::Kind::File
               : S_ISDIR(status.st_mode) ? FileState::Kind::Directory
                                         : FileState::Kind::Other;
  state.device = status.st_dev;
  state.number = status.st_ino;
  state.names = status.st_nlink;
  state.size = status.st_size;
  state.modified = since1970(status.st_mtim);
  state.changed = since1970(status.st_ctim);
  state.isOpenToOthers = (status.st_mode & ofOthers) != 0;
  return state;
}

}  // namespace

FileState FileState::ifThere(const std::filesystem::path& file) noexcept {
  struct stat status {};
  return ::stat(file.c_str(), &status) == 0 ? stateOf(status) : FileState();
}
FileState FileState::of(const std::filesystem::path& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) == 0) return stateOf(status);
  if (errno != ENOENT) throwSystemError(u"Reading", file);
  return {};
}
bool isWritable(const std::filesystem::path& file) noexcept { return ::access(file.c_str(), W_OK) == 0; }

bool takeFromOthers(const std::filesystem::path& file) noexcept {
  struct stat status {};
  if (::lstat(file.c_str(), &status) != 0 || status.st_uid != ::geteuid() ||
      (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) || (status.st_mode & ofOthers) == 0)
    return false;
  return ::chmod(file.c_str(), status.st_mode & 07777 & ~ofOthers) == 0;
}

// ---- An open file

namespace {

// A program may run with its standard streams closed: nothing that it prints must end up in our files.
int notStandard(int native) {
  if (native < 0 || native > STDERR_FILENO) return native;
  const int higher = ::fcntl(native, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int reason = errno;
  ::close(native);
  errno = reason;
  return higher;
}

int opened(const std::filesystem::path& file, int flags) {
  return notStandard(::open(file.c_str(), flags | O_CLOEXEC, 0600));
}

// A file that is made has its permissions whatever the umask.
int openedOrMade(const std::filesystem::path& file, int flags) {
  int native = opened(file, flags);
  if (native >= 0 || errno != ENOENT) return native;
  native = opened(file, flags | O_CREAT);
  if (native >= 0) ::fchmod(native, 0600);
  return native;
}

int openedFor(const std::filesystem::path& file, File::Use use) {
  switch (use) {
    case File::Use::Read: return opened(file, O_RDONLY);
    case File::Use::Change: return opened(file, O_RDWR);
    case File::Use::Create: return openedOrMade(file, O_RDWR);
    case File::Use::Append: return openedOrMade(file, O_WRONLY | O_APPEND);
    case File::Use::Replace: return openedOrMade(file, O_WRONLY | O_TRUNC);
  }
  return -1;
}

}  // namespace

File::File(std::filesystem::path name, int native) noexcept : name_(std::move(name)), native_(native) {}
File::File(std::filesystem::path name, Use use) : name_(std::move(name)), native_(openedFor(name_, use)) {
  if (native_ < 0) throwSystemError(u"Opening", name_);
}
File File::ifPermitted(const std::filesystem::path& name, Use use) {
  File file(name, openedFor(name, use));
  if (!file.isOpen() && errno != EACCES && errno != EROFS) throwSystemError(u"Opening", name);
  return file;
}
File::File(File&& other) noexcept
    : name_(std::move(other.name_)), native_(std::exchange(other.native_, -1)) {}
File& File::operator=(File&& other) noexcept {
  std::swap(name_, other.name_);
  std::swap(native_, other.native_);
  return *this;
}
File::~File() {
  if (native_ >= 0) ::close(native_);
}

FileState File::state() const noexcept {
  struct stat status {};
  return ::fstat(native_, &status) == 0 ? stateOf(status) : FileState();
}

std::size_t File::readAt(std::span<std::uint8_t> bytes, std::uint64_t offset) const {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count =
        ::pread(native_, &bytes[done], bytes.size() - done, static_cast<off_t>(offset + done));
    if (count == 0) break;
    if (count < 0 && errno != EINTR) throwSystemError(u"Reading", name_);
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  return done;
}
void File::writeAt(std::span<const std::uint8_t> bytes, std::uint64_t offset) const {
  while (!bytes.empty()) {
    const ssize_t count = ::pwrite(native_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno != EINTR) throwSystemError(u"Writing", name_);
    if (count <= 0) continue;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
}
bool File::append(std::string_view text) const noexcept {
  return ::write(native_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}
void File::sync() const {
  if (::fsync(native_) != 0) throwSystemError(u"Syncing", name_);
}
bool File::reserve(std::int64_t size) const noexcept {
  errno = ::posix_fallocate(native_, 0, size);
  return errno == 0;
}

FileLock::FileLock(const File& file) : native_(file.native()) {
  constexpr auto longest = std::chrono::seconds(30);
  const auto deadline = std::chrono::steady_clock::now() + longest;
  while (::flock(native_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) throwSystemError(u"Locking", file.name());
    if (std::chrono::steady_clock::now() > deadline)
      throw Error(E_FAIL, {},
                  u"Another process has kept \"" + shownPath(file.name()) +
                      u"\" locked for 30 seconds (is it stopped?); nothing was changed.");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}
FileLock::~FileLock() { ::flock(native_, LOCK_UN); }

// ---- Directories, and files as a whole

namespace {
void syncDirectory(const std::filesystem::path& directory) {
  File(directory.empty() ? "." : directory, File::Use::Read).sync();
}
}  // namespace

const std::filesystem::path& makeDirectory(const std::filesystem::path& directory) {
  if (const FileState state = FileState::ifThere(directory); state.isThere()) {
    if (state.kind == FileState::Kind::Directory) return directory;
    throwFileError(u"Using the directory", directory, std::errc::not_a_directory);
  }
  const std::filesystem::path above = directory.parent_path();
  if (!above.empty() && above != directory) makeDirectory(above);
  if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
    throwSystemError(u"Creating the directory", directory);
  ::chmod(directory.c_str(), 0700);  // an umask may have taken the owner's rights
  syncDirectory(above);
  return directory;
}

void removeFile(const std::filesystem::path& file) noexcept { ::unlink(file.c_str()); }

std::optional<std::int64_t> roomBeside(const std::filesystem::path& file) noexcept {
  struct statvfs disk {};
  if (::statvfs(file.parent_path().c_str(), &disk) != 0) return std::nullopt;
  return static_cast<std::int64_t>(disk.f_bavail * disk.f_frsize);
}

void renameFile(const std::filesystem::path& file, const std::filesystem::path& name) {
  File(file, File::Use::Read).sync();
  if (::rename(file.c_str(), name.c_str()) != 0) throwSystemError(u"Renaming", file);
  syncDirectory(std::filesystem::absolute(name).parent_path());
}

void replaceFile(const std::filesystem::path& file, std::string_view content,
                 std::filesystem::path temporary) {
  if (std::filesystem::is_symlink(file))
    return replaceFile(std::filesystem::canonical(file), content, temporary);
  if (temporary.empty()) temporary = file.string() + ".new";
  try {
    const File written(temporary, File::Use::Replace);
    struct stat before {};
    if (::stat(file.c_str(), &before) == 0) {  // its owner and permissions stay, as far as may be
      if (::fchown(written.native(), before.st_uid, before.st_gid) != 0 && errno != EPERM)
        throwSystemError(u"Writing", temporary);
      if (::fchmod(written.native(), before.st_mode & 07777) != 0) throwSystemError(u"Writing", temporary);
    }
    written.writeAt({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()}, 0);
    written.sync();
    if (::rename(temporary.c_str(), file.c_str()) != 0) throwSystemError(u"Replacing", file);
  } catch (const Error&) {
    removeFile(temporary);
    throw;
  }
  syncDirectory(file.parent_path());
}

}  // namespace CorvaneQueue::platform_layer
