// The settings files of the installation.
#pragma once

#include "InstallationDirectory.h"
#include "TomlFile.h"

namespace CorvaneQueue::platform_layer {

// One of them, by its name in the directory that is the installation at the moment of each call. Thread
// safe. What TomlFile promises holds.
class InstallationFile {
 public:
  explicit InstallationFile(const char* name) noexcept : name_(name) {}
  std::shared_ptr<const TomlFile::Content> content() { return file_.content(path()); }
  std::optional<Variant> read(const TomlFile::Address& address) { return file_.read(path(), address); }
  void write(const TomlFile::Address& address, const Variant& value) { file_.write(path(), address, value); }
  void write(std::span<const TomlFile::Setting> settings) { file_.write(path(), settings); }
  void remove(std::span<const TomlFile::Address> addresses) { file_.remove(path(), addresses); }

 private:
  std::filesystem::path path() const { return installationDirectory() / name_; }
  const char* name_;
  TomlFile file_;
};

}  // namespace CorvaneQueue::platform_layer
