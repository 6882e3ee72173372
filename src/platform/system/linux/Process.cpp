#include "Process.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <new>
#include <sstream>

namespace CorvaneQueue::platform_layer {

void onFork(void (*before)(), void (*inParent)(), void (*inChild)()) {
  if (::pthread_atfork(before, inParent, inChild) != 0) throw std::bad_alloc();
}

// Asked for several times with every document; the system would be asked each time.
std::int32_t processNumber() noexcept {
  static std::atomic<std::int32_t> number{0};
  static const bool isKept =
      ::pthread_atfork(nullptr, nullptr, [] { number.store(0, std::memory_order_relaxed); }) == 0;
  std::int32_t known = number.load(std::memory_order_relaxed);
  if (known == 0 || !isKept) number.store(known = ::getpid(), std::memory_order_relaxed);
  return known;
}

std::uint64_t bootNumber() noexcept {
  const int file = ::open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  char text[64];
  const ssize_t size = ::read(file, text, sizeof text);
  ::close(file);
  std::uint64_t number = 0;  // from the digits of a random identifier: any mixture will do
  for (ssize_t i = 0; i < size; ++i) number = number * 31 + static_cast<unsigned char>(text[i]);
  return number;
}

std::optional<NativeText> environmentVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::nullopt : std::optional<NativeText>(value);
}
NativeText dataDirectory() {
  if (const auto set = environmentVariable("XDG_DATA_HOME"); set && !set->empty()) return *set;
  const auto home = environmentVariable("HOME");
  return home && !home->empty() ? *home + "/.local/share" : NativeText();
}

std::string hostName() {
  char name[256] = "";
  return ::gethostname(name, sizeof name - 1) == 0 ? name : "";
}

// The loader may know it by a name that was relative to another directory.
std::filesystem::path fileOfCode(const void* code) {
  const auto here = reinterpret_cast<std::uintptr_t>(code);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream words(line);
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    char dash = 0;
    words >> std::hex >> begin >> dash >> end;
    const auto path = line.find('/');
    if (here >= begin && here < end && path != std::string::npos) return line.substr(path);
  }
  return {};
}

}  // namespace CorvaneQueue::platform_layer
