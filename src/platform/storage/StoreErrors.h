// The errors of the embedded stores.
#pragma once

#include "DatabaseAccess.h"

#include <CorvaneQueue/Error.h>

#include <filesystem>
#include <string>
#include <string_view>

struct sqlite3;

namespace CorvaneQueue::platform_layer {

struct StoreState;

// The disk has no room for what was to be stored.
class DiskFull : public Error {
 public:
  using Error::Error;
};

// What was done is stored, but whether it survives a power failure is not known. Its number is
// StoreError::outcomeUnknown.
class SyncFailed : public Error {
 public:
  using Error::Error;
};

// A store's file, and what its processes tell each other of it (nothing for one that may only read).
struct StoreFile {
  std::filesystem::path path;
  StoreState* state = nullptr;

  [[noreturn]] void fail(std::int32_t number, std::u16string_view what) const;
  // Throws the error of a result of the engine. `tried` says what was attempted.
  [[noreturn]] void failFor(sqlite3* handle, int code, std::string_view tried) const;
};

}  // namespace CorvaneQueue::platform_layer
