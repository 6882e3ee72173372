// The in-process server: opens the door when the library is loaded, and creates the public classes.
#include "ClassObject.h"
#include "EmbeddedPlatform.h"
#include "Queue.h"
#include "Queues.h"
#include "SqliteStore.h"
#include "Text.h"
#include "Utility.h"

#include <algorithm>

namespace CorvaneQueue {

namespace {

// The installed platform lives as long as the library is loaded; objects that clients keep beyond
// the end of main still find it.
platform_layer::EmbeddedPlatform& embedded() {
  static auto* const installed = new platform_layer::EmbeddedPlatform(store::sqliteStore());
  return *installed;
}
[[maybe_unused]] ScopedPlatform* const opened = new ScopedPlatform(embedded().door());

template <class T>
Ref<IDispatch> createObject() {
  return asDispatch(make<T>());
}

const CreatableClass creatableClasses[] = {
    {queueClass, u"CorvaneQueue.Queue", createObject<Queue>},
    {queuesClass, u"CorvaneQueue.Queues", createObject<Queues>},
    {utilityClass, u"CorvaneQueue.Utility", createObject<Utility>},
    {processTraceClass, u"CorvaneSYS.ProcessTrace",
     [] { return Ref<IDispatch>(platform().host->createProcessTrace()); }},
};

}  // namespace

}  // namespace CorvaneQueue

using namespace CorvaneQueue;

extern "C" {

CORVANE_API HRESULT DllGetClassObject(REFCLSID identity, REFIID iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  const auto* found = std::ranges::find(creatableClasses, identity, &CreatableClass::identity);
  if (found == std::end(creatableClasses)) return CLASS_E_CLASSNOTAVAILABLE;
  return answer([&] { throwIfFailed(make<ClassObject>(*found)->QueryInterface(iid, object)); });
}

CORVANE_API HRESULT DllCanUnloadNow() noexcept { return liveObjects() == 0 ? S_OK : S_FALSE; }

HRESULT CLSIDFromProgID(LPCOLESTR name, CLSID* identity) noexcept {
  return answer([&] {
    given(identity) = CLSID{};
    const std::u16string wanted = foldCase(&given(name));
    for (const CreatableClass& created : creatableClasses)
      if (foldCase(created.name) == wanted) return void(*identity = created.identity);
    throw Error(CO_E_CLASSSTRING, u"CorvaneQueue",
                u"There is no class with the name \"" + std::u16string(name) + u"\".");
  });
}

HRESULT CoCreateInstance(REFCLSID identity, IUnknown* outer, DWORD, REFIID iid, void** object) noexcept {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  SetErrorInfo(0, nullptr);
  void* factory = nullptr;
  const HRESULT result = DllGetClassObject(identity, IID_IClassFactory, &factory);
  if (FAILED(result)) return result;
  return Ref<IClassFactory>::adopt(static_cast<IClassFactory*>(factory))->CreateInstance(outer, iid, object);
}

}  // extern "C"
