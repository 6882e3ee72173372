#include "Backup.h"

#include "StoreFiles.h"
#include "StoreSharing.h"

#include <algorithm>
#include <fstream>
#include <map>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr const char* listName = "contents";
constexpr const char* firstLine = "corvane-backup 1";

[[noreturn]] void refuse(const std::filesystem::path& directory, const std::u16string& why) {
  throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Backup",
              u"The copy \"" + shownPath(directory) + u"\": " + why);
}

// Size and checksum.
std::string describe(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  XXH3_state_t state;
  XXH3_64bits_reset(&state);
  std::vector<char> part(1 << 20);
  std::uint64_t size = 0;
  while (stream.read(part.data(), std::ssize(part)), stream.gcount() > 0) {
    XXH3_64bits_update(&state, part.data(), static_cast<std::size_t>(stream.gcount()));
    size += static_cast<std::uint64_t>(stream.gcount());
  }
  char text[48];
  std::snprintf(text, sizeof text, "%llu %016llx", static_cast<unsigned long long>(size),
                static_cast<unsigned long long>(XXH3_64bits_digest(&state)));
  return text;
}

void copyFile(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::error_code error;
  std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing, error);
  if (error) throwFileError(u"Copying", to, error);
  std::filesystem::permissions(to, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
                               error);
  File(to, File::Use::Read).sync();
}

std::filesystem::path with(std::filesystem::path file, const char* tail) { return file += tail; }

void removeAll(const std::vector<BackedUpFile>& files, const char* tail) {
  for (const BackedUpFile& each : files) removeFile(with(each.file, tail));
}

std::int64_t schemaVersion(const std::filesystem::path& file) {
  constexpr int at = 60;  // in the engine's file header
  std::ifstream stream(file, std::ios::binary);
  unsigned char bytes[4] = {};
  stream.seekg(at);
  stream.read(reinterpret_cast<char*>(bytes), sizeof bytes);
  return bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
}

}  // namespace

void Backup::make(const std::filesystem::path& directory, const Progress& progress) {
  std::erase_if(files_, [](const BackedUpFile& each) { return !isThere(each.file); });
  if (isThere(directory))
    refuse(directory, u"it is there already; nothing was copied. Name another directory.");
  const std::filesystem::path part = with(directory, ".part");
  std::filesystem::remove_all(part);  // of one that was not ended
  makeDirectory(part);
  // All stores are held at one moment first.
  std::map<std::string, std::unique_ptr<Database>> stores;
  std::map<std::string, std::unique_ptr<StoreCopy>> copies;
  for (const BackedUpFile& each : files_)
    if (each.isStore() && isThere(each.file))
      stores[each.name] = std::make_unique<Database>(each.file, each.migrations);
  for (const auto& [name, store] : stores) copies[name] = std::make_unique<StoreCopy>(*store);
  std::string list = std::string(firstLine) + "\n";
  for (const BackedUpFile& each : files_) {
    if (!isThere(each.file)) continue;
    const std::filesystem::path copy = part / each.name;
    if (each.isStore())
      copies.at(each.name)->write(copy, progress);
    else
      copyFile(each.file, copy);
    list += describe(copy) + " " + each.name + "\n";
  }
  replaceFile(part / listName, list);
  renameFile(part, directory);
}

void Backup::mustBeCopy(const std::filesystem::path& directory) {
  std::ifstream list(directory / listName);
  std::string line;
  if (!std::getline(list, line) || line != firstLine)
    refuse(directory, u"it is no copy of an installation, or not a whole one; nothing was changed.");
}

void Backup::putBack(const std::filesystem::path& directory, const std::filesystem::path& inUse,
                     const Progress& progress) {
  mustBeCopy(directory);
  std::ifstream list(directory / listName);
  std::string line;
  std::getline(list, line);
  std::vector<const BackedUpFile*> found;
  std::int64_t done = 0;
  for (std::string size, checksum, name; list >> size >> checksum >> name;) {
    const auto known =
        std::ranges::find(files_, name, [](const BackedUpFile& each) { return std::string(each.name); });
    if (known == files_.end())
      refuse(directory, u"it holds the unknown file \"" + shownPath(name) +
                            u"\"; nothing was changed. Install the newer library.");
    if (describe(directory / name) != size + " " + checksum)
      refuse(directory, u"its file \"" + shownPath(name) + u"\" is damaged or missing; nothing was changed.");
    if (known->isStore() && schemaVersion(directory / name) > std::ssize(known->migrations))
      refuse(directory, u"its file \"" + shownPath(name) +
                            u"\" is of a newer library; nothing was changed. Install that one.");
    found.push_back(&*known);
    progress(done += std::stoll(size), 0);
  }
  // Nobody may work with a store, and none comes until these go.
  std::vector<std::unique_ptr<StoreSharing>> alone;
  std::vector<std::filesystem::path> stores{inUse};
  for (const BackedUpFile& each : files_)
    if (each.isStore() && each.file != inUse) stores.push_back(each.file);
  for (const std::filesystem::path& store : stores) {
    makeDirectory(store.parent_path());
    alone.push_back(StoreSharing::join(store));
    if (!alone.back() || !alone.back()->isFirst())
      refuse(directory, u"processes work with the store \"" + shownPath(store) +
                            u"\"; nothing was changed. End them all first.");
  }
  removeAll(files_, restoredTail);  // of one that was killed
  // Killed while it replaced files, it has to be done again, whatever becomes of this one.
  const bool isHalfDone = std::ranges::any_of(
      files_, [](const BackedUpFile& each) { return isThere(with(each.file, restoringTail)); });
  const auto orNothing = [&](const std::function<void()>& step, const char16_t* told) {
    try {
      step();
    } catch (const Error& error) {
      removeAll(files_, restoredTail);
      if (!isHalfDone) removeAll(files_, restoringTail);
      throw Error(error.number(), error.source(), std::u16string(error.description().view()) + told);
    }
  };
  for (const BackedUpFile* each : found) {
    const std::filesystem::path copy = with(each->file, restoredTail);
    orNothing([&] { copyFile(directory / each->name, copy); }, u" Nothing was changed.");
    orNothing([&] { progress(done += static_cast<std::int64_t>(std::filesystem::file_size(copy)), 0); }, u"");
  }
  for (const BackedUpFile& each : files_)
    if (each.isStore())
      orNothing([&] { File(with(each.file, restoringTail), File::Use::Create).sync(); },
                u" Nothing was changed.");
  for (const BackedUpFile& each : files_) {
    if (each.isStore())
      for (const char* tail : {"-wal", "-shm", ""}) removeFile(with(each.file, tail));
    if (std::ranges::find(found, &each) != found.end())
      renameFile(with(each.file, restoredTail), each.file);
    else
      removeFile(each.file);
  }
  for (const BackedUpFile& each : files_)
    if (each.isStore()) removeFile(with(each.file, restoringTail));
}

}  // namespace CorvaneQueue::platform_layer
