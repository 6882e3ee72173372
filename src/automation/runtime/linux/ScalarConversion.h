// Numbers, truths, dates and texts from each other.
#pragma once

#include <CorvaneQueue/automation.h>

namespace CorvaneQueue::conversion {

bool isScalar(VARTYPE type);
// Puts the value, no reference, array or object, into the empty result as the scalar type. Throws Failure.
void convert(VARIANT& result, const VARIANT& value, USHORT flags, VARTYPE type);

}  // namespace CorvaneQueue::conversion
