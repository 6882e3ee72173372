// The message store in a file of the installation.
#pragma once

#include "InstallationFile.h"
#include "StoreAccess.h"
#include "StoreDefinition.h"

#include <filesystem>

namespace CorvaneQueue::platform_layer {

// The file is messages.db of the installation, unless the settings name another one.
class SqliteAccess final : public StoreAccess {
 public:
  SqliteAccess(InstallationFile& settings, const StoreDefinition& definition) noexcept
      : settings_(settings), definition_(definition) {}
  std::shared_ptr<StoreSession> connect() override;
  StoreReport check(StoreCheck how) override;
  std::unique_ptr<StoreOperations> operations() override;
  // Where settings of that content place the store.
  static std::filesystem::path fileIn(const TomlFile::Content& settings);
  std::span<const std::string_view> migrations() const noexcept { return definition_.migrations; }

 private:
  std::filesystem::path file() { return fileIn(*settings_.content()); }
  InstallationFile& settings_;
  StoreDefinition definition_;
};

}  // namespace CorvaneQueue::platform_layer
