// Which start of the machine this is.
#pragma once

#include <cstdint>

namespace CorvaneQueue::platform_layer {

// Differs between all starts of a machine; 0 when it cannot be told. What processes have left in memory that
// they shared through a file is exact as long as it is the same.
std::uint64_t bootNumber() noexcept;

}  // namespace CorvaneQueue::platform_layer
