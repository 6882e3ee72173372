// The host services library CorvaneSYS.
#pragma once

#include "HostServices.h"
#include "InstallationFile.h"
#include "StoreAccess.h"

namespace CorvaneQueue::platform_layer {

// messages.db of the installation, unless the setting MessageStore names another file.
std::filesystem::path messageStoreFile(InstallationFile& settings);

class CorvaneHost final : public HostServices {
 public:
  CorvaneHost(InstallationFile& settings, InstallationFile& registry, StoreAccess& access) noexcept
      : settings_(settings), registry_(registry), access_(access) {}
  Ref<_ExceptionHandler> createExceptionHandler() override;
  Ref<_ProcessTrace> createProcessTrace() override;
  std::unique_ptr<ConfigurationSettings> createConfigurationSettings() override;
  std::unique_ptr<ComponentSettings> createComponentSettings() override;
  std::unique_ptr<RegistryAccess> createRegistryAccess() override;
  std::unique_ptr<DatabaseConnection> createDatabaseConnection() override;

 private:
  InstallationFile& settings_;
  InstallationFile& registry_;
  StoreAccess& access_;
};

}  // namespace CorvaneQueue::platform_layer
