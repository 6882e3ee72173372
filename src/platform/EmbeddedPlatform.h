// Everything behind the door, on this machine alone.
#pragma once

#include "CorvaneHost.h"
#include "EmbeddedQueuing.h"
#include "InstallationFile.h"
#include "LocalSystem.h"
#include "Platform.h"
#include "SqliteAccess.h"
#include "ZstdCompression.h"

namespace CorvaneQueue::platform_layer {

class EmbeddedPlatform {
 public:
  explicit EmbeddedPlatform(StoreDefinition store)
      : access_(store), host_(settings_, registry_, access_), system_(settings_, registry_) {}

  // Of the store of that type: "db", else Message Queuing.
  StoreReport check(std::u16string_view storeType, StoreCheck how) {
    return storeType == u"db" ? access_.check(messageStoreFile(settings_), how) : messageQueuing_.check(how);
  }

  Platform door() noexcept { return {&host_, &messageQueuing_, &access_, &compression_, &system_}; }

 private:
  InstallationFile settings_{"settings.toml"};
  InstallationFile registry_{"registry.toml"};
  SqliteAccess access_;
  CorvaneHost host_;
  EmbeddedQueuing messageQueuing_;
  ZstdCompression compression_;
  LocalSystem system_;
};

}  // namespace CorvaneQueue::platform_layer
