#include "TomlFile.h"

#include "Files.h"
#include "Text.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <ctime>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::size_t largestFile = std::size_t{16} << 20;  // bytes

std::string contentOf(const FileDescriptor& opened, const std::filesystem::path& file) {
  std::string content;
  char part[16384];
  for (ssize_t size = 0; (size = ::read(opened.get(), part, sizeof part)) != 0;) {
    if (size < 0) throwSystemError(u"Reading", file);
    content.append(part, static_cast<std::size_t>(size));
    if (content.size() > largestFile)
      throw Error(E_FAIL, {},
                  u"The settings file \"" + shownPath(file) + u"\" is larger than " +
                      decimal(largestFile >> 20) + u" MiB. Correct it; nothing was changed.");
  }
  return content;
}

}  // namespace

bool TomlFile::isUnchanged(const std::string& file) {
  if (!isSettled_ || file != parsedFile_) return false;
  // A file that is replaced or removed changes its own status too; only a directory moved with its files is
  // seen by the name alone.
  constexpr auto lookUpInterval = std::chrono::milliseconds(100);
  const auto now = std::chrono::steady_clock::now();
  const bool isByName = now - lookedUpAt_ >= lookUpInterval;
  if (isByName) lookedUpAt_ = now;
  struct stat status {};
  if ((isByName ? ::stat(file.c_str(), &status) : ::fstat(parsed_.get(), &status)) != 0) return false;
  const auto same = [](const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
  };
  return status.st_ino == parsedStatus_.st_ino && status.st_dev == parsedStatus_.st_dev &&
         status.st_nlink == parsedStatus_.st_nlink && status.st_size == parsedStatus_.st_size &&
         same(status.st_mtim, parsedStatus_.st_mtim) && same(status.st_ctim, parsedStatus_.st_ctim);
}

std::shared_ptr<const TomlFile::Content> TomlFile::content(const std::string& file) {
  const std::lock_guard guard(mutex_);
  if (isUnchanged(file)) return content_;
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0) {
    if (errno != ENOENT) throwSystemError(u"Reading", file);
    return nothing_;
  }
  if (!S_ISREG(status.st_mode)) {
    errno = EISDIR;
    throwSystemError(u"Reading the settings file", file);
  }
  FileDescriptor opened(file, O_RDONLY);
  if (::fstat(opened.get(), &status) != 0) throwSystemError(u"Reading", file);
  auto read = std::make_shared<Content>();
  read->values_ = valuesIn(contentOf(opened, file), file);
  // A file changed within the clock's tick may look unchanged after the next change: look again.
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  constexpr double tick = 0.1;
  isSettled_ = std::difftime(now.tv_sec, status.st_ctim.tv_sec) +
                   static_cast<double>(now.tv_nsec - status.st_ctim.tv_nsec) / 1e9 >
               tick;
  parsedFile_ = file;
  parsed_ = std::move(opened);
  parsedStatus_ = status;
  lookedUpAt_ = std::chrono::steady_clock::now();
  return content_ = read;
}

std::optional<Variant> TomlFile::Content::at(const Address& address) const {
  const auto found = values_.find(foldedKey(address));
  return found == values_.end() ? std::nullopt : std::optional(found->second);
}

void TomlFile::edit(const std::filesystem::path& file,
                    const std::function<std::string(std::string content)>& change) {
  std::filesystem::path lockPath = file;
  lockPath += ".lock";
  makeDirectory(file.parent_path());
  const FileDescriptor lockFile(lockPath, O_RDWR | O_CREAT);
  const FileLock lock(lockFile, lockPath);
  if (std::filesystem::exists(file) && !std::filesystem::is_regular_file(file)) {
    errno = EISDIR;
    throwSystemError(u"Writing the settings file", file);
  }
  const std::string content =
      std::filesystem::exists(file) ? contentOf(FileDescriptor(file, O_RDONLY), file) : std::string();
  const std::string changed = change(content);
  if (changed != content) replaceFile(file, changed);
}

void TomlFile::write(const std::filesystem::path& file, std::span<const Setting> settings) {
  edit(file, [&](std::string content) {
    for (const Setting& setting : settings)
      content = withValue(content, file, setting.address, setting.value);
    return content;
  });
}

void TomlFile::write(const std::filesystem::path& file, const Address& address, const Variant& value) {
  const Setting setting{address, value};
  write(file, std::span(&setting, 1));
}

void TomlFile::remove(const std::filesystem::path& file, std::span<const Address> addresses) {
  edit(file, [&](std::string content) {
    for (const Address& address : addresses) content = withoutValue(content, file, address);
    return content;
  });
}

}  // namespace CorvaneQueue::platform_layer
