// What the operating system must offer.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <span>
#include <string>
#include <string_view>

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
  virtual Variant toAnsi(std::u16string_view text) = 0;
  virtual String fromAnsi(std::span<const std::uint8_t> bytes) = 0;
  // All of them or none; durable.
  virtual void setClassesValues(std::span<const ClassesValue> values) = 0;
  // Deletes the values of these keys and names, and keys without values; nothing else. A value that is not
  // there is no error.
  virtual void deleteClassesValues(std::span<const ClassesValue> values) = 0;
};

}  // namespace CorvaneQueue
