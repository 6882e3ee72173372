// The registry of classes: the installation's own.
#include "LocalSystem.h"

namespace CorvaneQueue::platform_layer {

namespace {
constexpr std::u16string_view classesRoot = u"ClassesRoot";
}  // namespace

std::optional<String> LocalSystem::readClassesValue(std::u16string_view key, std::u16string_view name) {
  const auto value = registry_.read({classesRoot, key, name});
  return value ? std::optional(toString(value->get())) : std::nullopt;
}

void LocalSystem::setClassesValues(std::span<const ClassesValue> values) {
  std::vector<TomlFile::Setting> settings;
  for (const auto& [key, name, text] : values)
    settings.push_back({{classesRoot, key, name}, Variant(String(text))});
  registry_.write(settings);
}

void LocalSystem::deleteClassesValues(std::span<const ClassesValue> values) {
  std::vector<TomlFile::Address> addresses;
  for (const auto& [key, name, text] : values) addresses.push_back({classesRoot, key, name});
  registry_.remove(addresses);
}

}  // namespace CorvaneQueue::platform_layer
