// What the system knows of published interfaces and classes from the library's type library.
#pragma once

#include <CorvaneQueue/automation.h>

namespace CorvaneQueue {

// Whether it can tell anything.
bool hasTypeInformation() noexcept;
// Of an interface. Fails for one that is not published.
HRESULT typeInformation(REFIID iid, ITypeInfo** info) noexcept;
// Of the class that has it as its default.
HRESULT classInformation(REFIID iid, ITypeInfo** info) noexcept;

}  // namespace CorvaneQueue
