// The log of the installation: log/corvane.log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace CorvaneQueue::platform_layer {

struct LogEntry {
  enum class Level { Error, Warning };
  std::u16string_view component;
  std::u16string_view className;
  std::u16string_view procedure;
  Level level = Level::Error;
  std::int32_t number = 0;
  std::u16string_view source;
  std::u16string_view description;
};

// One whole line for each entry, by a single appending write, so that many processes can share the file. A
// log that cannot be written hides no error: nothing is thrown.
void writeLog(const LogEntry& entry) noexcept;

// A warning of the layer behind the door.
void warnInLog(std::u16string_view className, std::u16string_view procedure, std::u16string_view text,
               std::int32_t number = 0) noexcept;

}  // namespace CorvaneQueue::platform_layer
