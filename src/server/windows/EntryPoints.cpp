#include "EntryPoints.h"

#include "CreatableClasses.h"
#include "StoredText.h"

#include <CorvaneQueue/create.h>
#include <CorvaneQueue/server.h>

#include <algorithm>

namespace CorvaneQueue {

// A program that is linked with this library has its classes from it, whichever copy is registered.
HRESULT createByName(const char16_t* name, REFIID iid, void** object) noexcept {
  if (name == nullptr || object == nullptr) return E_POINTER;
  *object = nullptr;
  const auto own = creatableClasses();
  const auto found = std::ranges::find_if(
      own, [wanted = foldCase(name)](const CreatableClass& each) { return foldCase(each.name) == wanted; });
  if (found == own.end()) {
    CLSID identity{};
    const HRESULT known = ::CLSIDFromProgID(platformText(name), &identity);
    return FAILED(known) ? known : ::CoCreateInstance(identity, nullptr, CLSCTX_INPROC_SERVER, iid, object);
  }
  void* factory = nullptr;
  const HRESULT result = classObject(found->identity, IID_IClassFactory, &factory);
  if (FAILED(result)) return result;
  return Ref<IClassFactory>::adopt(static_cast<IClassFactory*>(factory))
      ->CreateInstance(nullptr, iid, object);
}

}  // namespace CorvaneQueue

STDAPI DllGetClassObject(REFCLSID identity, REFIID iid, void** object) {
  return CorvaneQueue::classObject(identity, iid, object);
}
STDAPI DllCanUnloadNow() { return CorvaneQueue::canUnload(); }
STDAPI DllRegisterServer() { return CorvaneQueue::registerServer(); }
STDAPI DllUnregisterServer() { return CorvaneQueue::unregisterServer(); }
