// The type description of the library.
#pragma once

#include <CorvaneQueue/automation.h>
#include <string>

namespace CorvaneQueue {

// The published classes and interfaces as IDL, in UTF-8: complete in itself, for any IDL compiler. It is
// printed from the member tables that late binding reads.
CORVANE_API std::string typeDescription();

}  // namespace CorvaneQueue
