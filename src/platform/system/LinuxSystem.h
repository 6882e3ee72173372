// The operating system's side of the door.
#pragma once

#include "OperatingSystem.h"
#include "TomlFile.h"

namespace CorvaneQueue::platform_layer {

// Reads the settings CodePage, PlatformId and MajorVersion of the installation.
class LinuxSystem final : public OperatingSystem {
 public:
  explicit LinuxSystem(TomlFile& settings) noexcept : settings_(settings) {}
  bool GetVersionEx(OSVersion& record) override;
  SystemTime GetSystemTime() override;
  TimeZoneId GetTimeZoneInformation(std::int32_t& bias) override;
  Variant toAnsi(std::u16string_view text) override;
  String fromAnsi(std::span<const std::uint8_t> bytes) override;
  void setClassesValues(std::span<const ClassesValue> values) override;
  void deleteClassesValues(std::span<const ClassesValue> values) override;

 private:
  std::int32_t numberSetting(const char16_t* key, std::int32_t byDefault);
  TomlFile& settings_;
  TomlFile registry_;
};

}  // namespace CorvaneQueue::platform_layer
