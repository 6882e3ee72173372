#include "TomlFile.h"

#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::size_t largestFile = std::size_t{16} << 20;  // bytes

std::string contentOf(const File& file) {
  std::string content;
  std::array<std::uint8_t, 16384> part;
  while (const std::size_t size = file.readAt(part, content.size())) {
    content.append(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(size));
    if (content.size() > largestFile)
      throw Error(E_FAIL, {},
                  u"The settings file \"" + shownPath(file.name()) + u"\" is larger than " +
                      decimal(largestFile >> 20) + u" MiB. Correct it; nothing was changed.");
  }
  return content;
}

}  // namespace

bool TomlFile::isUnchanged(const std::filesystem::path& file) {
  if (!isSettled_ || file.native() != parsedFile_.native()) return false;
  // A file that is replaced or removed changes its own status too; only a directory moved with its files is
  // seen by the name alone.
  constexpr auto lookUpInterval = std::chrono::milliseconds(100);
  const auto now = std::chrono::steady_clock::now();
  const bool isByName = now - lookedUpAt_ >= lookUpInterval;
  if (isByName) lookedUpAt_ = now;
  return (isByName || !parsed_.isOpen() ? FileState::ifThere(file) : parsed_.state()) == parsedState_;
}

std::shared_ptr<const TomlFile::Content> TomlFile::content(const std::filesystem::path& file) {
  const std::lock_guard guard(mutex_);
  if (isUnchanged(file)) return content_;
  FileState state = FileState::of(file);
  if (!state.isThere()) return nothing_;
  if (state.kind != FileState::Kind::File)
    throwFileError(u"Reading the settings file", file, std::errc::is_a_directory);
  File opened(file, File::Use::Read);
  state = opened.state();
  auto read = std::make_shared<Content>();
  read->values_ = valuesIn(contentOf(opened), file);
  // A file changed within the clock's tick may look unchanged after the next change: look again.
  constexpr auto tick = std::chrono::milliseconds(100);
  isSettled_ = std::chrono::system_clock::now().time_since_epoch() - state.changed > tick;
  parsedFile_ = file;
  // Elsewhere nobody can replace a file that somebody has open.
  if (thisSystem == System::Linux) parsed_ = std::move(opened);
  parsedState_ = state;
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
  const File lockFile(lockPath, File::Use::Create);
  const FileLock lock(lockFile);
  const FileState state = FileState::of(file);
  if (state.isThere() && state.kind != FileState::Kind::File)
    throwFileError(u"Writing the settings file", file, std::errc::is_a_directory);
  const std::string content = state.isThere() ? contentOf(File(file, File::Use::Read)) : std::string();
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
