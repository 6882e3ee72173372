// What every engine refuses of a parameter, in the same words.
#pragma once

#include "DatabaseAccess.h"

namespace CorvaneQueue::platform_layer {

// The text of a parameter, borrowed from it. Throws 5 when it has more characters than the parameter's size.
BorrowedText checkedText(const Parameter& parameter);
// A whole number that the parameter's type can hold. Of a text its digits, with a sign at the most: what else
// the platform takes for numbers ("1.6", "$2") is no identifier. Throws 13 and 6.
std::int64_t checkedNumber(const Parameter& parameter);

}  // namespace CorvaneQueue::platform_layer
