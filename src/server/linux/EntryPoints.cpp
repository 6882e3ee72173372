#include "EntryPoints.h"

#include "CreatableClasses.h"
#include "StoredText.h"

#include <CorvaneQueue/create.h>
#include <CorvaneQueue/server.h>

namespace CorvaneQueue {

HRESULT createByName(const char16_t* name, REFIID iid, void** object) noexcept {
  CLSID identity{};
  const HRESULT found = CLSIDFromProgID(name, &identity);
  return FAILED(found) ? found : CoCreateInstance(identity, nullptr, CLSCTX_INPROC_SERVER, iid, object);
}

extern "C" {

HRESULT DllGetClassObject(REFCLSID identity, REFIID iid, void** object) noexcept {
  return classObject(identity, iid, object);
}
HRESULT DllCanUnloadNow() noexcept { return canUnload(); }
HRESULT DllRegisterServer() noexcept { return registerServer(); }
HRESULT DllUnregisterServer() noexcept { return unregisterServer(); }

HRESULT CLSIDFromProgID(LPCOLESTR name, CLSID* identity) noexcept {
  return answer([&] {
    given(identity) = CLSID{};
    const std::u16string wanted = foldCase(&given(name));
    for (const CreatableClass& created : creatableClasses())
      if (std::u16string_view(created.name).size() == wanted.size() && foldCase(created.name) == wanted)
        return void(*identity = created.identity);
    throw Error(CO_E_CLASSSTRING, u"CorvaneQueue",
                u"There is no class with the name \"" + std::u16string(name) + u"\".");
  });
}

HRESULT CoCreateInstance(REFCLSID identity, IUnknown* outer, DWORD, REFIID iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  void* factory = nullptr;
  const HRESULT result = classObject(identity, IID_IClassFactory, &factory);
  if (FAILED(result)) return result;
  return Ref<IClassFactory>::adopt(static_cast<IClassFactory*>(factory))->CreateInstance(outer, iid, object);
}

}  // extern "C"

}  // namespace CorvaneQueue
