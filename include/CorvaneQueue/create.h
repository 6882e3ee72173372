// Creation of objects by registered name.
#pragma once

#include <CorvaneQueue/call.h>

namespace CorvaneQueue {

// An object of a class of the library, or else of one that is registered with the system.
CORVANE_API HRESULT createByName(const char16_t* name, REFIID iid, void** object) noexcept;

// create<_Queue>(u"CorvaneQueue.Queue"). Throws when no class of that name is registered, when its
// creation fails, and 13 when the object does not answer for the interface.
template <class Interface>
Ref<Interface> create(const char16_t* name) {
  void* object = nullptr;
  throwIfFailed(createByName(name, iidOf<Interface>, &object));
  return Ref<Interface>::adopt(static_cast<Interface*>(object));
}

}  // namespace CorvaneQueue
