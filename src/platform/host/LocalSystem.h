// The operating system's side of the door.
#pragma once

#include "InstallationFile.h"
#include "OperatingSystem.h"

namespace CorvaneQueue::platform_layer {

class CodePage;

// Reads the settings CodePage, PlatformId and MajorVersion of the installation.
class LocalSystem final : public OperatingSystem {
 public:
  LocalSystem(InstallationFile& settings, InstallationFile& registry) noexcept
      : settings_(settings), registry_(registry) {}
  bool GetVersionEx(OSVersion& record) override;
  SystemTime GetSystemTime() override;
  TimeZoneId GetTimeZoneInformation(std::int32_t& bias) override;
  AnsiText toAnsi(std::u16string_view text) override;
  String fromAnsi(std::span<const std::uint8_t> bytes) override;
  std::optional<String> readRegistry(std::u16string_view key, std::u16string_view name,
                                     bool is64BitView) override;
  String environmentVariable(std::u16string_view name) override;
  // The installation directory, twice.
  String systemDirectory() override;
  String windowsDirectory() override;
  std::vector<String> listFiles(std::u16string_view pattern) override;
  String readInitialisationFile(std::u16string_view file, std::u16string_view section,
                                std::u16string_view key) override;
  std::optional<String> readClassesValue(std::u16string_view key, std::u16string_view name) override;
  void setClassesValues(std::span<const ClassesValue> values) override;
  void deleteClassesValues(std::span<const ClassesValue> values) override;
  std::int32_t codePage();

 private:
  CodePage& installedCodePage();
  InstallationFile& settings_;
  InstallationFile& registry_;
};

}  // namespace CorvaneQueue::platform_layer
