// Members of objects whose interface is not known, reached by name.
#pragma once

#include <CorvaneQueue/Variant.h>

namespace CorvaneQueue {

// The result of a member, called with the arguments in order; arguments by reference are written back.
// Throws 91 without an object, 438 when it has no such member, and the error of the member itself.
Variant lateBoundInvoke(IDispatch* object, const char16_t* name, std::span<const Variant> arguments);

// The value of a property; fails as above.
inline Variant lateBoundGet(IDispatch* object, const char16_t* name) {
  return lateBoundInvoke(object, name, {});
}

// Throws the error of a failed IDispatch::Invoke; lets the exception be filled in and takes over its texts.
void throwIfInvokeFailed(HRESULT result, EXCEPINFO& exception);

}  // namespace CorvaneQueue
