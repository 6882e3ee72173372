// What the system calls an open file, or another thing that can be waited for: a handle, as a number.
#pragma once

#include "System.h"

#include <cstdint>

namespace CorvaneQueue::platform_layer {

using Native = std::intptr_t;
inline constexpr Native noNative = -1;

inline constexpr System thisSystem = System::Windows;

}  // namespace CorvaneQueue::platform_layer
