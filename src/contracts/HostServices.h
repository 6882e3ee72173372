// What the host services library CorvaneSYS must offer. Its error reporting and tracing objects are
// published (CorvaneQueue/Host.h); the others are used inside the library only.
#pragma once

#include "DatabaseAccess.h"

#include <CorvaneQueue/Host.h>

#include <memory>
#include <string_view>

namespace CorvaneQueue {

// Settings of an application. Every read sees what is stored now, by whatever process.
class ConfigurationSettings {
 public:
  virtual ~ConfigurationSettings() = default;
  virtual void Application(std::u16string_view name) = 0;
  virtual void Section(std::u16string_view name) = 0;
  virtual Variant Read(std::u16string_view key, const Variant& byDefault) = 0;
  // Durable when the call returns.
  virtual void Write(std::u16string_view key, const Variant& value) = 0;
};

// Settings of one component, found by two naming levels.
class ComponentSettings {
 public:
  virtual ~ComponentSettings() = default;
  virtual void FirstLevel(std::u16string_view name) = 0;
  virtual void SecondLevel(std::u16string_view name) = 0;
  virtual Variant Read(std::u16string_view key, const Variant& byDefault) = 0;
};

enum class RegistryRoot { LocalMachine };

class RegistryAccess {
 public:
  virtual ~RegistryAccess() = default;
  virtual void Root(RegistryRoot root) = 0;
  virtual String Read(std::u16string_view keyPath, std::u16string_view valueName,
                      std::u16string_view byDefault) = 0;
};

// The way to the message-store database.
class DatabaseConnection {
 public:
  virtual ~DatabaseConnection() = default;
  // Opened on the first call.
  virtual std::shared_ptr<CorvaneQueue::Connection> Connection() = 0;
  // The rows of a query, or nothing. `cursorType` is passed by reference: 3.
  virtual std::unique_ptr<Recordset> OpenRecordset(std::u16string_view query, std::int32_t& cursorType) = 0;
};

class HostServices {
 public:
  virtual ~HostServices() = default;
  virtual Ref<_ExceptionHandler> createExceptionHandler() = 0;
  virtual Ref<_ProcessTrace> createProcessTrace() = 0;
  virtual std::unique_ptr<ConfigurationSettings> createConfigurationSettings() = 0;
  virtual std::unique_ptr<ComponentSettings> createComponentSettings() = 0;
  virtual std::unique_ptr<RegistryAccess> createRegistryAccess() = 0;
  virtual std::unique_ptr<DatabaseConnection> createDatabaseConnection() = 0;
};

}  // namespace CorvaneQueue
