// The type description of the library.
#pragma once

#include <CorvaneQueue/automation.h>
#include <string>

namespace CorvaneQueue {

// The published classes and interfaces as IDL, in UTF-8. The base interfaces are imported from the platform's
// "oaidl.idl". It is printed from the member tables that late binding reads.
CORVANE_API std::string typeDescription();

}  // namespace CorvaneQueue
