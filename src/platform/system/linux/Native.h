// What the system calls an open file, or another thing that can be waited for.
#pragma once

#include "System.h"

namespace CorvaneQueue::platform_layer {

using Native = int;  // a descriptor
inline constexpr Native noNative = -1;

inline constexpr System thisSystem = System::Linux;

}  // namespace CorvaneQueue::platform_layer
