// A settings file: values under named tables, typed, readable and editable by hand.
#pragma once

#include "File.h"
#include "TomlText.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace CorvaneQueue::platform_layer {

// Thread safe. Every read sees the newest content of the file, whoever wrote it; the file is parsed
// again only when it has changed. Names compare without regard to letter case.
class TomlFile {
 public:
  using Address = TomlAddress;

  // What a file holds at one moment.
  class Content {
   public:
    // The value, or nothing when it is not set.
    std::optional<Variant> at(const Address& address) const;

   private:
    friend class TomlFile;
    TomlValues values_;
  };
  // The same object as long as the file does not change. Throws an Error that names file and line when the
  // file does not parse or nests tables more than 256 deep, and one that names the file when it is larger
  // than 16 MiB. A file that is not there is empty.
  std::shared_ptr<const Content> content(const std::filesystem::path& file);
  std::optional<Variant> read(const std::filesystem::path& file, const Address& address) {
    return content(file)->at(address);
  }
  struct Setting {
    Address address;
    Variant value;
  };
  // Sets values (texts, whole numbers, reals or booleans), all or none, and keeps the rest of the file as
  // it is, comments included. Atomic and durable; concurrent writers lose nothing. Refuses a file that
  // does not parse.
  void write(const std::filesystem::path& file, std::span<const Setting> settings);
  void write(const std::filesystem::path& file, const Address& address, const Variant& value);
  // Removes values, and the tables that are empty then, in the same way. One that is not there is no error.
  void remove(const std::filesystem::path& file, std::span<const Address> addresses);

 private:
  bool isUnchanged(const std::filesystem::path& file);
  // Replaces the file by what `change` makes of its content, under the file's lock.
  static void edit(const std::filesystem::path& file,
                   const std::function<std::string(std::string content)>& change);

  std::mutex mutex_;
  std::filesystem::path parsedFile_;
  File parsed_;  // kept open: asking it is cheaper than asking by name
  FileState parsedState_;
  std::chrono::steady_clock::time_point lookedUpAt_;
  bool isSettled_ = false;
  std::shared_ptr<const Content> content_;
  const std::shared_ptr<const Content> nothing_ = std::make_shared<Content>();
};

}  // namespace CorvaneQueue::platform_layer
