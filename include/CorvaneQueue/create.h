// Creation of objects by registered name.
#pragma once

#include <CorvaneQueue/call.h>

namespace CorvaneQueue {

// create<_Queue>(u"CorvaneQueue.Queue"). Throws when no class of that name is registered, when its
// creation fails, and 13 when the object does not answer for the interface.
template <class Interface>
Ref<Interface> create(const char16_t* name) {
  CLSID identity{};
  throwIfFailed(CLSIDFromProgID(name, &identity));
  void* object = nullptr;
  throwIfFailed(CoCreateInstance(identity, nullptr, CLSCTX_INPROC_SERVER, iidOf<Interface>, &object));
  return Ref<Interface>::adopt(static_cast<Interface*>(object));
}

}  // namespace CorvaneQueue
