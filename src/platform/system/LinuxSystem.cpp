#include "LinuxSystem.h"

#include "CodePage.h"
#include "Files.h"
#include "Lasting.h"

#include <chrono>
#include <ctime>
#include <optional>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::int32_t windows1252 = 1252;

CodePage& codePage(std::int32_t number) {
  static Lasting<PerThread<std::optional<CodePage>>> kept;
  auto& current = kept->current();
  if (!current || current->number() != number) current.emplace(number);
  return *current;
}

}  // namespace

std::int32_t LinuxSystem::numberSetting(const char16_t* key, std::int32_t byDefault) {
  const auto value = settings_.read(installationDirectory() / "settings.toml", {u"Platform", key});
  return value ? toInt32(value->get()) : byDefault;
}

bool LinuxSystem::GetVersionEx(OSVersion& record) {
  try {
    const std::int32_t platformId = numberSetting(u"PlatformId", 2);
    record.majorVersion = numberSetting(u"MajorVersion", 10);
    record.platformId = platformId;
    return true;
  } catch (const Error&) {  // a settings file that cannot be read: no version
    return false;
  }
}

SystemTime LinuxSystem::GetSystemTime() {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date(day);
  const hh_mm_ss time(now - day);
  return {static_cast<int>(date.year()),
          static_cast<std::int32_t>(static_cast<unsigned>(date.month())),
          static_cast<std::int32_t>(static_cast<unsigned>(date.day())),
          static_cast<std::int32_t>(time.hours().count()),
          static_cast<std::int32_t>(time.minutes().count()),
          static_cast<std::int32_t>(time.seconds().count()),
          static_cast<std::int32_t>(time.subseconds().count())};
}

TimeZoneId LinuxSystem::GetTimeZoneInformation(std::int32_t& bias) {
  ::tzset();
  bias = static_cast<std::int32_t>(::timezone / 60);
  if (::daylight == 0) return zoneUnknown;
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  return local.tm_isdst > 0 ? zoneDaylight : zoneStandard;
}

Variant LinuxSystem::toAnsi(std::u16string_view text) {
  return Variant::bytes(codePage(numberSetting(u"CodePage", windows1252)).bytesOf(text));
}

String LinuxSystem::fromAnsi(std::span<const std::uint8_t> bytes) {
  return codePage(numberSetting(u"CodePage", windows1252)).textOf(bytes);
}

namespace {
constexpr std::u16string_view classesRoot = u"ClassesRoot";
std::filesystem::path registryFile() { return installationDirectory() / "registry.toml"; }
}  // namespace

void LinuxSystem::setClassesValues(std::span<const ClassesValue> values) {
  std::vector<TomlFile::Setting> settings;
  for (const auto& [key, name, text] : values)
    settings.push_back({{classesRoot, key, name}, Variant(String(text))});
  registry_.write(registryFile(), settings);
}

void LinuxSystem::deleteClassesValues(std::span<const ClassesValue> values) {
  std::vector<TomlFile::Address> addresses;
  for (const auto& [key, name, text] : values) addresses.push_back({classesRoot, key, name});
  registry_.remove(registryFile(), addresses);
}

}  // namespace CorvaneQueue::platform_layer
