// The registry of classes: the system's.
#include "LocalSystem.h"

#include <algorithm>
#include <string>

namespace CorvaneQueue::platform_layer {

namespace {

std::wstring wide(std::u16string_view text) { return {text.begin(), text.end()}; }

class Key {
 public:
  Key(std::u16string_view name, REGSAM access) noexcept {
    if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, wide(name).c_str(), 0, access, &key_) != ERROR_SUCCESS)
      key_ = nullptr;
  }
  ~Key() {
    if (key_ != nullptr) ::RegCloseKey(key_);
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  HKEY get() const noexcept { return key_; }
  bool isThere() const noexcept { return key_ != nullptr; }
  bool isEmpty() const noexcept {
    DWORD keys = 0;
    DWORD values = 0;
    return ::RegQueryInfoKeyW(key_, nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                              nullptr, nullptr, nullptr) == ERROR_SUCCESS &&
           keys == 0 && values == 0;
  }

 private:
  HKEY key_ = nullptr;
};

[[noreturn]] void refuse(std::u16string_view key) {
  throw Error(E_FAIL, u"CorvaneQueue",
              u"The registry's key HKEY_CLASSES_ROOT\\" + std::u16string(key) +
                  u" cannot be written; run this as an administrator.");
}

}  // namespace

std::optional<String> LocalSystem::readClassesValue(std::u16string_view key, std::u16string_view name) {
  const Key opened(key, KEY_READ);
  wchar_t text[2048];
  DWORD size = sizeof text - sizeof(wchar_t);
  DWORD type = 0;
  if (!opened.isThere() ||
      ::RegQueryValueExW(opened.get(), wide(name).c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text),
                         &size) != ERROR_SUCCESS ||
      type != REG_SZ)
    return std::nullopt;
  text[size / sizeof(wchar_t)] = L'\0';
  return String(std::u16string_view(unitsOf(text)));
}

void LocalSystem::setClassesValues(std::span<const ClassesValue> values) {
  for (const auto& [key, name, text] : values) {
    HKEY made = nullptr;
    if (::RegCreateKeyExW(HKEY_CLASSES_ROOT, wide(key).c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &made,
                          nullptr) != ERROR_SUCCESS)
      refuse(key);
    const std::wstring content = wide(text);
    const auto size = static_cast<DWORD>((content.size() + 1) * sizeof(wchar_t));
    const LSTATUS written = ::RegSetValueExW(made, wide(name).c_str(), 0, REG_SZ,
                                             reinterpret_cast<const BYTE*>(content.c_str()), size);
    ::RegCloseKey(made);
    if (written != ERROR_SUCCESS) refuse(key);
  }
}

void LocalSystem::deleteClassesValues(std::span<const ClassesValue> values) {
  for (const auto& [key, name, text] : values) {
    const Key opened(key, KEY_READ | KEY_WRITE);
    if (!opened.isThere()) continue;
    const LSTATUS deleted = ::RegDeleteValueW(opened.get(), wide(name).c_str());
    if (deleted != ERROR_SUCCESS && deleted != ERROR_FILE_NOT_FOUND) refuse(key);
  }
  for (const auto& each : values) {  // with the keys that are empty then
    std::u16string key(each.key);
    while (!key.empty()) {
      if (!Key(key, KEY_READ).isEmpty()) break;
      ::RegDeleteKeyW(HKEY_CLASSES_ROOT, wide(key).c_str());
      const auto above = key.rfind(u'\\');
      key.resize(above == std::u16string::npos ? 0 : above);
    }
  }
}

}  // namespace CorvaneQueue::platform_layer
