#include "CorvaneHost.h"

#include "ExceptionHandler.h"
#include "InstallationDirectory.h"

namespace CorvaneQueue::platform_layer {

namespace {

Variant valueOr(std::optional<Variant> found, const Variant& byDefault) {
  return found ? std::move(*found) : byDefault;
}

class StoredConfiguration final : public ConfigurationSettings {
 public:
  explicit StoredConfiguration(InstallationFile& settings) noexcept : settings_(settings) {}
  void Application(std::u16string_view name) override { application_ = name; }
  void Section(std::u16string_view name) override { section_ = name; }
  Variant Read(std::u16string_view key, const Variant& byDefault) override {
    return valueOr(settings_.read({application_, section_, key}), byDefault);
  }
  void Write(std::u16string_view key, const Variant& value) override {
    settings_.write({application_, section_, key}, value);
  }

 private:
  InstallationFile& settings_;
  std::u16string application_;
  std::u16string section_;
};

// A component's table is [Components.first.second]: the two naming levels are one dotted section.
class StoredComponent final : public ComponentSettings {
 public:
  explicit StoredComponent(InstallationFile& settings) noexcept : settings_(settings) {}
  void FirstLevel(std::u16string_view name) override { firstLevel_ = name; }
  void SecondLevel(std::u16string_view name) override { secondLevel_ = name; }
  Variant Read(std::u16string_view key, const Variant& byDefault) override {
    return valueOr(settings_.read({u"Components", firstLevel_, secondLevel_, key}), byDefault);
  }

 private:
  InstallationFile& settings_;
  std::u16string firstLevel_;
  std::u16string secondLevel_;
};

class StoredRegistry final : public RegistryAccess {
 public:
  explicit StoredRegistry(InstallationFile& registry) noexcept : registry_(registry) {}
  void Root(RegistryRoot) override {}
  String Read(std::u16string_view keyPath, std::u16string_view valueName,
              std::u16string_view byDefault) override {
    const auto value = registry_.read({u"LocalMachine", keyPath, valueName});
    return value ? toString(value->get()) : String(byDefault);
  }

 private:
  InstallationFile& registry_;
};

class StoreConnection final : public DatabaseConnection {
 public:
  explicit StoreConnection(MessageStore& store) noexcept : store_(store) {}

  std::shared_ptr<CorvaneQueue::Connection> Connection() override { return session(); }
  std::unique_ptr<Recordset> OpenRecordset(std::u16string_view query, std::int32_t&) override {
    constexpr std::int32_t seconds = 30;
    return session()->query(query, seconds);
  }

 private:
  const std::shared_ptr<StoreSession>& session() {
    if (!session_) session_ = store_.access().connect();
    return session_;
  }
  MessageStore& store_;
  std::shared_ptr<StoreSession> session_;
};

}  // namespace

Ref<_ExceptionHandler> CorvaneHost::createExceptionHandler() { return make<ExceptionHandler>(); }
Ref<_ProcessTrace> CorvaneHost::createProcessTrace() { return make<ProcessTrace>(); }
std::unique_ptr<ConfigurationSettings> CorvaneHost::createConfigurationSettings() {
  return std::make_unique<StoredConfiguration>(settings_);
}
std::unique_ptr<ComponentSettings> CorvaneHost::createComponentSettings() {
  return std::make_unique<StoredComponent>(settings_);
}
std::unique_ptr<RegistryAccess> CorvaneHost::createRegistryAccess() {
  return std::make_unique<StoredRegistry>(registry_);
}
std::unique_ptr<DatabaseConnection> CorvaneHost::createDatabaseConnection() {
  return std::make_unique<StoreConnection>(store_);
}

}  // namespace CorvaneQueue::platform_layer
