// Everything behind the door, on this machine alone.
#pragma once

#include "CorvaneHost.h"
#include "EmbeddedQueuing.h"
#include "LinuxSystem.h"
#include "Platform.h"
#include "SqliteAccess.h"
#include "TomlFile.h"
#include "ZstdCompression.h"

namespace CorvaneQueue::platform_layer {

class EmbeddedPlatform {
 public:
  explicit EmbeddedPlatform(StoreDefinition store)
      : access_(store), host_(settings_, access_), system_(settings_) {}

  Platform door() noexcept { return {&host_, &messageQueuing_, &access_, &compression_, &system_}; }

 private:
  TomlFile settings_;
  SqliteAccess access_;
  CorvaneHost host_;
  EmbeddedQueuing messageQueuing_;
  ZstdCompression compression_;
  LinuxSystem system_;
};

}  // namespace CorvaneQueue::platform_layer
