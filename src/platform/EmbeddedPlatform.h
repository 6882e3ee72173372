// Everything behind the door, on this machine alone.
#pragma once

#include "Backup.h"
#include "CodePage.h"
#include "CorvaneHost.h"
#include "EmbeddedQueuing.h"
#include "InstallationFile.h"
#include "LocalSystem.h"
#include "MessageStore.h"
#include "Platform.h"
#include "QueueOperations.h"
#include "QueueSchema.h"
#include "ServerAccess.h"
#include "SqliteAccess.h"
#include "ZstdCompression.h"

namespace CorvaneQueue::platform_layer {

class EmbeddedPlatform final : private OperationsAccess {
 public:
  explicit EmbeddedPlatform(StoreDefinition store)
      : embeddedStore_(settings_, store),
        host_(settings_, registry_, store_),
        system_(settings_, registry_) {}

  // Of the store of that type: "db", else Message Queuing.
  StoreReport check(std::u16string_view storeType, StoreCheck how) {
    return storeType == u"db" ? store_.access().check(how) : messageQueuing_.check(how);
  }

  // Nothing when the settings name another engine than a server's.
  ServerAccess* server() { return dynamic_cast<ServerAccess*>(&store_.access()); }

  Platform door() noexcept { return {&host_, &messageQueuing_, &store_, &compression_, &system_, this}; }

 private:
  std::unique_ptr<StoreOperations> open(std::u16string_view storeType) override {
    if (storeType == u"db") return store_.access().operations();
    return std::make_unique<QueueOperations>();
  }

  StoreReport verify(std::u16string_view storeType) override {
    return check(storeType, StoreCheck::Thorough);
  }
  void backUp(const std::filesystem::path& directory, const Progress& progress) override {
    Backup(files(*settings_.content())).make(directory, progress);
  }
  // The settings of the copy say where the store belongs.
  void restore(const std::filesystem::path& directory, const Progress& progress) override {
    Backup::mustBeCopy(directory);
    TomlFile settings;
    Backup(files(*settings.content(directory / "settings.toml")))
        .putBack(directory, SqliteAccess::fileIn(*settings_.content()), progress);
  }
  std::vector<BackedUpFile> files(const TomlFile::Content& settings) const {
    const std::filesystem::path& installation = installationDirectory();
    const std::filesystem::path queues = installation / "msmq" / "storage";
    return {{"settings.toml", installation / "settings.toml", {}},
            {"registry.toml", installation / "registry.toml", {}},
            {"codepage", queues / "codepage", {}},
            {"messages.db", SqliteAccess::fileIn(settings), embeddedStore_.migrations()},
            {"queues.db", queues / QueueStore::fileName, queueMigrations()}};
  }
  void writeSetting(const SettingNames& names, const Variant& value) override {
    settings_.write(TomlFile::Address(names.begin(), names.end()), value);
  }
  std::int32_t codePage() override { return system_.codePage(); }
  void setCodePage(std::int32_t number) override {
    static_cast<void>(CodePage(number));
    settings_.write({u"Platform", u"CodePage"}, Variant(number));
  }
  void sync(const std::filesystem::path& file) override { File(file, File::Use::Read).sync(); }
  void giveName(const std::filesystem::path& part, const std::filesystem::path& name) override {
    renameFile(part, name);
  }

  InstallationFile settings_{"settings.toml"};
  InstallationFile registry_{"registry.toml"};
  SqliteAccess embeddedStore_;
  ServerAccess postgreSql_{settings_, ServerEngine::PostgreSql};
  ServerAccess sqlServer_{settings_, ServerEngine::SqlServer};
  MessageStore store_{
      settings_, {{u"embedded", embeddedStore_}, {u"postgresql", postgreSql_}, {u"sqlserver", sqlServer_}}};
  CorvaneHost host_;
  EmbeddedQueuing messageQueuing_;
  ZstdCompression compression_;
  LocalSystem system_;
};

}  // namespace CorvaneQueue::platform_layer
