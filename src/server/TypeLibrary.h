// How the type library is entered into the registry.
#pragma once

#include "OperatingSystem.h"

#include <filesystem>
#include <string>
#include <vector>

namespace CorvaneQueue {

using ClassesValues = std::vector<ClassesValue>;

// This library's own file. Throws an Error when it cannot be found out.
std::filesystem::path libraryFile();
// In braces, as the registry has it.
std::u16string braced(const GUID& guid);

// Throws an Error, with nothing done, when there is no type library.
void mustHaveTypeLibrary();
// Enters it, or adds the values to those that are to be entered.
void enterTypeLibrary(ClassesValues& values);
// The same for what is to be removed, if that of this copy of the library is entered.
void removeTypeLibrary(ClassesValues& values);

}  // namespace CorvaneQueue
