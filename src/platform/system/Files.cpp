#include "Files.h"

#include "Lasting.h"
#include "Log.h"

#include <CorvaneQueue/Error.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

namespace CorvaneQueue::platform_layer {

std::u16string shownPath(const std::filesystem::path& file) {
  try {
    return std::u16string(fromUtf8(file.native()).view());
  } catch (const Error&) {
    std::u16string shown;
    for (const char c : file.native())
      shown += static_cast<unsigned char>(c) < 0x80 ? static_cast<char16_t>(c) : u'?';
    return shown;
  }
}

void throwSystemError(std::u16string_view tried, const std::filesystem::path& file) {
  const std::string reason = std::generic_category().message(errno);
  const bool isForbidden = errno == EACCES || errno == EPERM || errno == EROFS;
  const std::u16string text = std::u16string(tried) + u" \"" + shownPath(file) + u"\" failed: " +
                              std::u16string(reason.begin(), reason.end()) + u".";
  if (isForbidden) throw NotPermitted(E_FAIL, {}, text);
  throw Error(E_FAIL, {}, text);
}

namespace {

void syncDirectory(const std::filesystem::path& directory) {
  const FileDescriptor opened(directory.empty() ? "." : directory, O_RDONLY | O_DIRECTORY);
  if (::fsync(opened.get()) != 0) throwSystemError(u"Syncing", directory);
}

}  // namespace

const std::filesystem::path& makeDirectory(const std::filesystem::path& directory) {
  struct stat status {};
  if (::stat(directory.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return directory;
    errno = ENOTDIR;
    throwSystemError(u"Using the directory", directory);
  }
  const std::filesystem::path above = directory.parent_path();
  if (!above.empty() && above != directory) makeDirectory(above);
  if (::mkdir(directory.c_str(), 0700) != 0 && errno != EEXIST)
    throwSystemError(u"Creating the directory", directory);
  ::chmod(directory.c_str(), 0700);  // an umask may have taken the owner's rights
  syncDirectory(above);
  return directory;
}

namespace {

constexpr mode_t ofOthers = 077;

// Whether something was taken from others.
bool isTightened(const std::filesystem::path& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0 || status.st_uid != ::geteuid() ||
      (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) || (status.st_mode & ofOthers) == 0)
    return false;
  return ::chmod(path.c_str(), status.st_mode & 07777 & ~ofOthers) == 0;
}

// The directory itself keeps everybody out; the files are for the day when somebody opens it again.
void tighten(const std::filesystem::path& installation) {
  if (!isTightened(installation)) return;
  std::error_code error;
  for (auto at = std::filesystem::recursive_directory_iterator(installation, error);
       !error && at != std::filesystem::recursive_directory_iterator(); at.increment(error))
    isTightened(at->path());
  warnInLog(u"Installation", u"Opening",
            u"Others than the owner could read the installation \"" + shownPath(installation) +
                u"\": their rights have been taken away.");
}

}  // namespace

const std::filesystem::path& installationDirectory() {
  const char* base = nullptr;
  const auto isSet = [&](const char* name) {
    base = std::getenv(name);
    return base != nullptr && *base != '\0';
  };
  std::string_view below;
  if (isSet("CORVANE_HOME"))
    below = "";
  else if (isSet("XDG_DATA_HOME"))
    below = "corvane";
  else if (isSet("HOME"))
    below = ".local/share/corvane";
  else
    throw Error(E_FAIL, {}, u"There is no installation directory: set CORVANE_HOME (or HOME).");
  // Not looked at again and again: settings are read with every object that is made.
  struct Checked {
    std::string base;
    std::string_view below;
    std::filesystem::path directory;
    std::chrono::steady_clock::time_point at;
  };
  static Lasting<PerThread<Checked>> checks;
  Checked& checked = checks->current();
  const auto now = std::chrono::steady_clock::now();
  constexpr auto longest = std::chrono::milliseconds(100);
  if (now - checked.at < longest && checked.base == base && checked.below == below) return checked.directory;
  std::filesystem::path directory(base);
  if (!below.empty()) directory /= below;
  struct stat status {};
  if (::stat(directory.c_str(), &status) == 0) {
    if (!S_ISDIR(status.st_mode)) {
      errno = ENOTDIR;
      throwSystemError(u"Using the installation directory", directory);
    }
    if ((status.st_mode & ofOthers) != 0) tighten(directory);
  }
  checked = {base, below, std::move(directory), now};
  return checked.directory;
}

namespace {
// A program may run with its standard streams closed: nothing that it prints must end up in our files.
int notStandard(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int higher = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int reason = errno;
  ::close(descriptor);
  errno = reason;
  return higher;
}
}  // namespace

namespace {
// A file that is made has its permissions whatever the umask.
int openFile(const std::filesystem::path& file, int flags) {
  if ((flags & O_CREAT) == 0) return notStandard(::open(file.c_str(), flags | O_CLOEXEC));
  flags &= ~O_CREAT;
  int opened = ::open(file.c_str(), flags | O_CLOEXEC);
  if (opened < 0 && errno == ENOENT) {
    const int made = ::open(file.c_str(), flags | O_CREAT | O_CLOEXEC, 0600);
    if (made >= 0) ::fchmod(made, 0600);
    opened = made;
  }
  return notStandard(opened);
}
}  // namespace

FileDescriptor::FileDescriptor(const std::filesystem::path& file, int flags)
    : descriptor_(openFile(file, flags)) {
  if (descriptor_ < 0) throwSystemError(u"Opening", file);
}
FileDescriptor FileDescriptor::ifPermitted(const std::filesystem::path& file, int flags) {
  FileDescriptor opened;
  opened.descriptor_ = openFile(file, flags);
  if (opened.descriptor_ < 0 && errno != EACCES && errno != EROFS) throwSystemError(u"Opening", file);
  return opened;
}
FileDescriptor FileDescriptor::adopt(int descriptor) noexcept {
  FileDescriptor owned;
  owned.descriptor_ = descriptor;
  return owned;
}
FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}
FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}
FileDescriptor::~FileDescriptor() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

FileLock::FileLock(const FileDescriptor& file, const std::filesystem::path& name) : descriptor_(file.get()) {
  constexpr auto longest = std::chrono::seconds(30);
  const auto deadline = std::chrono::steady_clock::now() + longest;
  while (::flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) throwSystemError(u"Locking", name);
    if (std::chrono::steady_clock::now() > deadline)
      throw Error(E_FAIL, {},
                  u"Another process has kept \"" + shownPath(name) +
                      u"\" locked for 30 seconds (is it stopped?); nothing was changed.");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}
FileLock::~FileLock() { ::flock(descriptor_, LOCK_UN); }

void replaceFile(const std::filesystem::path& file, std::string_view content,
                 std::filesystem::path temporary) {
  if (std::filesystem::is_symlink(file))
    return replaceFile(std::filesystem::canonical(file), content, temporary);
  if (temporary.empty()) temporary = file.string() + ".new";
  try {
    const FileDescriptor written(temporary, O_WRONLY | O_CREAT | O_TRUNC);
    struct stat before {};
    if (::stat(file.c_str(), &before) == 0) {  // its owner and permissions stay, as far as may be
      if (::fchown(written.get(), before.st_uid, before.st_gid) != 0 && errno != EPERM)
        throwSystemError(u"Writing", temporary);
      if (::fchmod(written.get(), before.st_mode & 07777) != 0) throwSystemError(u"Writing", temporary);
    }
    for (std::string_view left = content; !left.empty();) {
      const ssize_t count = ::write(written.get(), left.data(), left.size());
      if (count < 0) {
        if (errno == EINTR) continue;
        throwSystemError(u"Writing", temporary);
      }
      left.remove_prefix(static_cast<std::size_t>(count));
    }
    if (::fsync(written.get()) != 0) throwSystemError(u"Syncing", temporary);
    if (::rename(temporary.c_str(), file.c_str()) != 0) throwSystemError(u"Replacing", file);
  } catch (const Error&) {
    ::unlink(temporary.c_str());
    throw;
  }
  syncDirectory(file.parent_path());
}

}  // namespace CorvaneQueue::platform_layer
