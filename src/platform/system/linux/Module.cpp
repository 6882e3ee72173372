#include "Module.h"

#include <CorvaneQueue/Error.h>

#include <dlfcn.h>
#include <filesystem>

namespace CorvaneQueue::platform_layer {

void* functionOfModule(const char* module, const char* function) {
  Dl_info own{};
  std::filesystem::path name = module;
  if (dladdr(reinterpret_cast<void*>(&functionOfModule), &own) != 0 && own.dli_fname != nullptr)
    name = std::filesystem::path(own.dli_fname).parent_path() / name;
  void* const handle = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  void* const found = handle == nullptr ? nullptr : dlsym(handle, function);
  if (found == nullptr)
    throw Error(E_FAIL, {},
                u"A part of the library cannot be loaded: " + std::u16string(fromUtf8(dlerror()).view()) +
                    u". Install it with the ODBC driver manager that it needs.");
  return found;
}

}  // namespace CorvaneQueue::platform_layer
