// Everything behind the door, on this machine alone.
#pragma once

#include "CorvaneHost.h"
#include "EmbeddedQueuing.h"
#include "InstallationFile.h"
#include "LocalSystem.h"
#include "MessageStore.h"
#include "Platform.h"
#include "ServerAccess.h"
#include "SqliteAccess.h"
#include "ZstdCompression.h"

namespace CorvaneQueue::platform_layer {

class EmbeddedPlatform {
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

  Platform door() noexcept { return {&host_, &messageQueuing_, &store_, &compression_, &system_}; }

 private:
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
