// The host services library CorvaneSYS.
#pragma once

#include "HostServices.h"
#include "SqliteAccess.h"
#include "TomlFile.h"

namespace CorvaneQueue::platform_layer {

class CorvaneHost final : public HostServices {
 public:
  CorvaneHost(TomlFile& settings, SqliteAccess& access) noexcept : settings_(settings), access_(access) {}
  Ref<_ExceptionHandler> createExceptionHandler() override;
  Ref<_ProcessTrace> createProcessTrace() override;
  std::unique_ptr<ConfigurationSettings> createConfigurationSettings() override;
  std::unique_ptr<ComponentSettings> createComponentSettings() override;
  std::unique_ptr<RegistryAccess> createRegistryAccess() override;
  std::unique_ptr<DatabaseConnection> createDatabaseConnection() override;

 private:
  TomlFile& settings_;
  TomlFile registry_;
  SqliteAccess& access_;
};

}  // namespace CorvaneQueue::platform_layer
