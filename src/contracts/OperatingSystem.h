// What the operating system must offer.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CorvaneQueue {

// The platform's version record in its single-byte-text form.
struct OSVersion {
  std::int32_t recordSize;
  std::int32_t majorVersion;
  std::int32_t minorVersion;
  std::int32_t buildNumber;
  std::int32_t platformId;
  char servicePack[128];
};
static_assert(sizeof(OSVersion) == 148);

struct SystemTime {
  std::int32_t year, month, day, hour, minute, second, milliseconds;
};

// A text under the classes root of the registry: the key from there on, and the value's name (empty: the
// key's own value).
struct ClassesValue {
  std::u16string key;
  std::u16string name;
  std::u16string text;
};

struct AnsiText {
  Variant bytes;
  std::optional<std::size_t> firstLost;  // the unit of the text at which the first lost character stood
};

enum TimeZoneId : std::int32_t { zoneInvalid = -1, zoneUnknown = 0, zoneStandard = 1, zoneDaylight = 2 };

class OperatingSystem {
 public:
  virtual ~OperatingSystem() = default;
  virtual bool GetVersionEx(OSVersion& record) = 0;
  // The clock in UTC.
  virtual SystemTime GetSystemTime() = 0;
  // `bias` in minutes: UTC is local time plus bias, daylight saving not counted.
  virtual TimeZoneId GetTimeZoneInformation(std::int32_t& bias) = 0;
  // Bytes in the system's ANSI code page; a character outside it becomes "?".
  virtual AnsiText toAnsi(std::u16string_view text) = 0;
  virtual String fromAnsi(std::span<const std::uint8_t> bytes) = 0;
  // A text of the local machine's registry; nothing when it is not there.
  virtual std::optional<String> readRegistry(std::u16string_view key, std::u16string_view name,
                                             bool is64BitView) = 0;
  // Empty when it is not set.
  virtual String environmentVariable(std::u16string_view name) = 0;
  virtual String systemDirectory() = 0;
  virtual String windowsDirectory() = 0;
  // The names of the ordinary files that match a pattern ("DIRECTORY\\*"), in the order of the file system;
  // none when the directory is not there.
  virtual std::vector<String> listFiles(std::u16string_view pattern) = 0;
  // The value of a key in a section, at most 254 characters; empty when there is none.
  virtual String readInitialisationFile(std::u16string_view file, std::u16string_view section,
                                        std::u16string_view key) = 0;
  // A text under the classes root; nothing when it is not there.
  virtual std::optional<String> readClassesValue(std::u16string_view key, std::u16string_view name) = 0;
  // All of them or none; durable.
  virtual void setClassesValues(std::span<const ClassesValue> values) = 0;
  // Deletes the values of these keys and names, and keys without values; nothing else. A value that is not
  // there is no error.
  virtual void deleteClassesValues(std::span<const ClassesValue> values) = 0;
};

}  // namespace CorvaneQueue
