// The door: everything the library reaches outside itself goes through these interfaces.
#pragma once

#include "Compression.h"
#include "DatabaseAccess.h"
#include "HostServices.h"
#include "OperatingSystem.h"
#include "QueuingServices.h"
#include "StoreOperations.h"

namespace CorvaneQueue {

struct Platform {
  HostServices* host = nullptr;
  QueuingServices* messageQueuing = nullptr;
  DatabaseAccess* database = nullptr;
  Compression* compression = nullptr;
  OperatingSystem* system = nullptr;
  OperationsAccess* operations = nullptr;
};

// What is installed. The library's server installs it when it is loaded.
const Platform& platform() noexcept;

// Installs a platform as long as this object lives, then the one before again.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(const Platform& installed) noexcept;
  ~ScopedPlatform();
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;

 private:
  Platform before_;
};

}  // namespace CorvaneQueue
