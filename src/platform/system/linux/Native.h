// What the system calls an open file, or another thing that can be waited for.
#pragma once

#include "System.h"

namespace CorvaneQueue::platform_layer {

using Native = int;  // a descriptor
inline constexpr Native noNative = -1;

inline constexpr System thisSystem = System::Linux;
// Whether a file keeps its name, and its length when it is mapped, as long as the engine has it open.
inline constexpr bool openStoresStay = false;

}  // namespace CorvaneQueue::platform_layer
