#include "Boot.h"

#include <fcntl.h>
#include <unistd.h>

namespace CorvaneQueue::platform_layer {

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

}  // namespace CorvaneQueue::platform_layer
