// What the system calls an open file, or another thing that can be waited for: a handle, as a number.
#pragma once

#include "System.h"

#include <cstdint>

namespace CorvaneQueue::platform_layer {

using Native = std::intptr_t;
inline constexpr Native noNative = -1;

inline constexpr System thisSystem = System::Windows;
// Whether a file keeps its name, and its length when it is mapped, as long as the engine has it open. It
// opens files without leave to delete or rename them, so that nobody need look each time, which costs an open
// file here.
inline constexpr bool openStoresStay = true;

}  // namespace CorvaneQueue::platform_layer
