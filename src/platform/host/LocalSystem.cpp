#include "LocalSystem.h"

#include "Clock.h"
#include "CodePage.h"
#include "CodePageOfStore.h"
#include "InstallationDirectory.h"
#include "Lasting.h"
#include "Process.h"
#include "StoredText.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <optional>
#include <unordered_map>

namespace CorvaneQueue::platform_layer {

namespace {

// Settings that are numbers. Asked for with every object that is made and every document: looked up once for
// each state of the file.
class NumberSettings {
 public:
  static NumberSettings& of(std::shared_ptr<const TomlFile::Content> content) {
    static Lasting<PerThread<NumberSettings>> all;
    NumberSettings& settings = all->current();
    if (content != settings.content_) {
      settings.content_ = std::move(content);
      settings.numbers_.clear();
    }
    return settings;
  }
  std::optional<std::int32_t> find(std::u16string_view key) {
    if (const auto found = numbers_.find(key); found != numbers_.end()) return found->second;
    const auto value = content_->at({u"Platform", key});
    if (value && value->type() != VT_I4)
      throw Error(ErrorNumber::TypeMismatch, {},
                  u"The setting " + std::u16string(key) + u" must be a whole number of at most 32 bits.");
    return numbers_[key] = value ? std::optional(value->get().lVal) : std::nullopt;
  }

 private:
  std::shared_ptr<const TomlFile::Content> content_;
  std::unordered_map<std::u16string_view, std::optional<std::int32_t>> numbers_;
};
}  // namespace

bool LocalSystem::GetVersionEx(OSVersion& record) {
  try {
    auto& settings = NumberSettings::of(settings_.content());
    const std::int32_t platformId = settings.find(u"PlatformId").value_or(2);
    record.majorVersion = settings.find(u"MajorVersion").value_or(10);
    record.platformId = platformId;
    return true;
  } catch (const Error&) {  // a settings file that cannot be read: no version
    return false;
  }
}

SystemTime LocalSystem::GetSystemTime() {
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

TimeZoneId LocalSystem::GetTimeZoneInformation(std::int32_t& bias) {
  const TimeZone zone = timeZone();
  bias = zone.bias;
  switch (zone.season) {
    case TimeZone::Season::Standard: return zoneStandard;
    case TimeZone::Season::Daylight: return zoneDaylight;
    default: return zoneUnknown;
  }
}

std::int32_t LocalSystem::codePage() {
  const auto set = NumberSettings::of(settings_.content()).find(u"CodePage");
  return set ? *set : codePageOfStore(installationDirectory());
}

CodePage& LocalSystem::installedCodePage() {
  const std::int32_t number = codePage();
  static Lasting<PerThread<std::optional<CodePage>>> kept;
  auto& current = kept->current();
  if (!current || current->number() != number) current.emplace(number);
  return *current;
}

AnsiText LocalSystem::toAnsi(std::u16string_view text) {
  AnsiText converted;
  converted.bytes = Variant::bytes(installedCodePage().bytesOf(text, converted.firstLost));
  return converted;
}

String LocalSystem::fromAnsi(std::span<const std::uint8_t> bytes) {
  return installedCodePage().textOf(bytes);
}

std::optional<String> LocalSystem::readRegistry(std::u16string_view key, std::u16string_view name, bool) {
  const auto value = registry_.read({u"LocalMachine", key, name});
  if (!value) return std::nullopt;
  // The queue service stands in the installation, wherever that has been moved or copied to since.
  if (key == u"SOFTWARE\\Microsoft\\MSMQ\\Parameters" && name == u"StorePersistentPath")
    return String(shownPath(installationDirectory() / "msmq" / "storage"));
  return toString(value->get());
}

String LocalSystem::environmentVariable(std::u16string_view name) {
  const auto value = platform_layer::environmentVariable(toUtf8(name).c_str());
  return value ? String(shownPath(*value)) : String();
}

String LocalSystem::systemDirectory() { return String(shownPath(installationDirectory())); }
String LocalSystem::windowsDirectory() { return systemDirectory(); }

namespace {
// The library speaks of files with backslashes.
std::filesystem::path localPath(std::u16string_view path) {
  std::u16string local(path);
  std::ranges::replace(local, u'\\', u'/');
  return fileNamed(local);
}
}  // namespace

std::vector<String> LocalSystem::listFiles(std::u16string_view pattern) {
  std::vector<String> names;
  std::error_code error;
  for (auto at = std::filesystem::directory_iterator(localPath(pattern).parent_path(), error);
       !error && at != std::filesystem::directory_iterator(); at.increment(error)) {
    const std::u16string name = shownPath(at->path().filename());
    std::error_code ignored;
    if (name[0] != u'.' && at->is_regular_file(ignored)) names.push_back(String(name));
  }
  return names;
}

String LocalSystem::readInitialisationFile(std::u16string_view file, std::u16string_view section,
                                           std::u16string_view key) {
  const auto trimmed = [](std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
  };
  const auto isNamed = [](std::string_view text, std::u16string_view name) {
    return foldCase(shownBytes(text)) == foldCase(name);
  };
  std::ifstream stream(localPath(file), std::ios::binary);
  bool isInSection = false;
  for (std::string line; std::getline(stream, line);) {
    const std::string_view text = trimmed(line);
    if (text.starts_with('[') && text.ends_with(']')) {
      isInSection = isNamed(text.substr(1, text.size() - 2), section);
      continue;
    }
    const auto equals = text.find('=');
    if (!isInSection || equals == std::string_view::npos || !isNamed(trimmed(text.substr(0, equals)), key))
      continue;
    std::string_view value = trimmed(text.substr(equals + 1));
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
      value = value.substr(1, value.size() - 2);
    constexpr std::size_t longest = 254;
    return String(shownBytes(value).substr(0, longest));
  }
  return {};
}

}  // namespace CorvaneQueue::platform_layer
