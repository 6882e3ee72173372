// The classes that clients create.
#pragma once

#include "ClassObject.h"

#include <span>

namespace CorvaneQueue {

std::span<const CreatableClass> creatableClasses() noexcept;
// Opens the door to the platform, if it is not open.
void openDoor();

}  // namespace CorvaneQueue
