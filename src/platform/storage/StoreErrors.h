// The errors of the embedded stores.
#pragma once

#include <CorvaneQueue/Error.h>

#include <filesystem>
#include <string>
#include <string_view>

struct sqlite3;

namespace CorvaneQueue::platform_layer {

struct StoreState;

// The source of the errors of a store.
inline constexpr std::u16string_view storeSource = u"CorvaneQueue.MessageStore";

// The number of a commit whose work is stored, but may not survive a power failure.
inline constexpr std::int32_t outcomeUnknown = static_cast<std::int32_t>(0x8004D016u);

// The disk has no room for what was to be stored.
class DiskFull : public Error {
 public:
  using Error::Error;
};

// What was done is stored, but whether it survives a power failure is not known. Its number is
// `outcomeUnknown`.
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
  // Numbers of database failures; all others are E_FAIL.
  static constexpr std::int32_t statementError = static_cast<std::int32_t>(0x80040E14u);
  static constexpr std::int32_t timeoutExpired = static_cast<std::int32_t>(0x80040E31u);
  static constexpr std::int32_t permissionDenied = static_cast<std::int32_t>(0x80040E09u);
};

}  // namespace CorvaneQueue::platform_layer
