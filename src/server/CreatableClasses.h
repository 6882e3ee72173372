// The classes that clients create.
#pragma once

#include "ClassObject.h"

#include <span>

namespace CorvaneQueue {

namespace platform_layer {
class EmbeddedPlatform;
}

std::span<const CreatableClass> creatableClasses() noexcept;
// Opens the door to the platform, if it is not open.
void openDoor();
// What stands behind it.
platform_layer::EmbeddedPlatform& embeddedPlatform();

}  // namespace CorvaneQueue
