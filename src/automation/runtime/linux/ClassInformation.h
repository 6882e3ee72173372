// How an object tells the class that it is of.
#pragma once

#include <CorvaneQueue/automation.h>

namespace CorvaneQueue {

// Not at all: the system has no type library to tell it from.
template <class Self>
class ClassInformation {
 protected:
  void* provideClassInfo(REFIID) noexcept { return nullptr; }
};

}  // namespace CorvaneQueue
