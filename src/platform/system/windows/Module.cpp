#include "Module.h"

#include "Process.h"

#include <CorvaneQueue/Error.h>

#include <windows.h>

namespace CorvaneQueue::platform_layer {

void* functionOfModule(const char* module, const char* function) {
  const auto file = fileOfCode(reinterpret_cast<const void*>(&functionOfModule)).replace_filename(module);
  const HMODULE loaded = ::LoadLibraryW(file.c_str());
  const auto found = loaded == nullptr ? nullptr : ::GetProcAddress(loaded, function);
  if (found == nullptr)
    throw Error(E_FAIL, {},
                u"A part of the library cannot be loaded: \"" + std::u16string(fromUtf8(module).view()) +
                    u"\" is not there. Under this system there are the embedded stores alone.");
  return reinterpret_cast<void*>(found);
}

}  // namespace CorvaneQueue::platform_layer
