// The classes that clients create.
#pragma once

#include "ClassObject.h"

#include <span>

namespace CorvaneQueue {

std::span<const CreatableClass> creatableClasses() noexcept;

}  // namespace CorvaneQueue
