#include "Process.h"

#include "Handle.h"

#include <random>
#include <vector>

namespace CorvaneQueue::platform_layer {

std::int32_t processNumber() noexcept { return static_cast<std::int32_t>(::GetCurrentProcessId()); }

// The system has no such number that anybody may read. One is kept where it forgets what users leave when
// they log off, at the latest when the machine stops.
std::uint64_t bootNumber() noexcept {
  static const std::uint64_t kept = [] {
    constexpr const wchar_t* name = L"Boot";
    HKEY key = nullptr;
    if (::RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\CorvaneQueue\\Volatile", 0, nullptr,
                          REG_OPTION_VOLATILE, KEY_READ | KEY_WRITE, nullptr, &key, nullptr) != ERROR_SUCCESS)
      return std::uint64_t{0};
    std::uint64_t number = 0;
    DWORD size = sizeof number;
    const auto read = [&] {
      size = sizeof number;
      return ::RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&number), &size) ==
             ERROR_SUCCESS;
    };
    if (!read()) {
      const std::uint64_t made =
          (std::uint64_t{std::random_device()()} << 32 | ::GetTickCount()) ^ ::GetCurrentProcessId();
      ::RegSetValueExW(key, name, 0, REG_QWORD, reinterpret_cast<const BYTE*>(&made), sizeof made);
      if (!read()) number = 0;
    }
    ::RegCloseKey(key);
    return number;
  }();
  return kept;
}

std::optional<NativeText> environmentVariable(const char* name) {
  const NativeText wide(name, name + std::char_traits<char>::length(name));
  NativeText value(256, L'\0');
  while (true) {
    ::SetLastError(0);
    const DWORD size =
        ::GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size()));
    if (size == 0 && ::GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
    const bool isWhole = size < value.size();
    value.resize(size);
    if (isWhole) return value;
  }
}
NativeText dataDirectory() { return environmentVariable("LOCALAPPDATA").value_or(NativeText()); }

std::string hostName() {
  wchar_t name[256];
  DWORD size = 256;
  if (::GetComputerNameExW(ComputerNameDnsHostname, name, &size) == 0) return "";
  char bytes[1024];
  const int count =
      ::WideCharToMultiByte(CP_UTF8, 0, name, static_cast<int>(size), bytes, sizeof bytes, nullptr, nullptr);
  return {bytes, static_cast<std::size_t>(count)};
}

std::filesystem::path fileOfCode(const void* code) {
  HMODULE module = nullptr;
  if (::GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<const wchar_t*>(code), &module) == 0)
    return {};
  std::vector<wchar_t> name(32768);
  const DWORD size = ::GetModuleFileNameW(module, name.data(), static_cast<DWORD>(name.size()));
  return std::filesystem::path(name.begin(), name.begin() + size);
}

// Processes of this system are not copied.
void onFork(void (*)(), void (*)(), void (*)()) {}

}  // namespace CorvaneQueue::platform_layer
