// What a file of this process has locked. The system keeps that account for itself, and takes a lock off only
// by exactly the range by which it was taken.
#pragma once

#include "Native.h"

namespace CorvaneQueue::platform_layer {

// The file is closed: its locks are gone.
void forgetLocks(Native file) noexcept;

}  // namespace CorvaneQueue::platform_layer
