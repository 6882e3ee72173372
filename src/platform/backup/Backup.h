// Copies of an installation: both stores and the settings.
#pragma once

#include "StoreCopy.h"

namespace CorvaneQueue::platform_layer {

// A file of an installation, and what it is called in a copy.
struct BackedUpFile {
  const char* name;
  std::filesystem::path file;
  std::span<const std::string_view> migrations;  // of a store, none for another file
  bool isStore() const noexcept { return !migrations.empty(); }
};

class Backup {
 public:
  using Progress = StoreCopy::Progress;
  // The files of the installation; those that are not there are left out.
  explicit Backup(std::vector<BackedUpFile> files) : files_(std::move(files)) {}

  // Throws 5 when the directory is none that make() has made.
  static void mustBeCopy(const std::filesystem::path& directory);
  // Makes the directory, which is not there yet, of what is in the files at one moment, while others work.
  // One that is begun and not ended has the name DIRECTORY.part.
  void make(const std::filesystem::path& directory, const Progress& progress);
  // Puts a copy in the place of what is there, when nobody works with it or with the store `inUse`: whole, or
  // not at all. Killed in the middle of it the stores are refused until it is done again.
  void putBack(const std::filesystem::path& directory, const std::filesystem::path& inUse,
               const Progress& progress);

 private:
  std::vector<BackedUpFile> files_;
};

}  // namespace CorvaneQueue::platform_layer
