// The host services library CorvaneSYS.
#pragma once

#include "HostServices.h"
#include "InstallationFile.h"
#include "MessageStore.h"

namespace CorvaneQueue::platform_layer {

class CorvaneHost final : public HostServices {
 public:
  CorvaneHost(InstallationFile& settings, InstallationFile& registry, MessageStore& store) noexcept
      : settings_(settings), registry_(registry), store_(store) {}
  Ref<_ExceptionHandler> createExceptionHandler() override;
  Ref<_ProcessTrace> createProcessTrace() override;
  std::unique_ptr<ConfigurationSettings> createConfigurationSettings() override;
  std::unique_ptr<ComponentSettings> createComponentSettings() override;
  std::unique_ptr<RegistryAccess> createRegistryAccess() override;
  std::unique_ptr<DatabaseConnection> createDatabaseConnection() override;

 private:
  InstallationFile& settings_;
  InstallationFile& registry_;
  MessageStore& store_;
};

}  // namespace CorvaneQueue::platform_layer
