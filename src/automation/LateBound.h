// Members of objects whose interface is not known, reached by name.
#pragma once

#include <CorvaneQueue/Variant.h>

namespace CorvaneQueue {

// The value of a property. Throws 91 without an object, 438 when it has no such member, and the error
// of the member itself.
Variant lateBoundGet(IDispatch* object, const char16_t* name);

}  // namespace CorvaneQueue
