// Class objects: creation of one class by its identity or registered name.
#pragma once

#include "Object.h"

namespace CorvaneQueue {

// A creatable class.
struct CreatableClass {
  CLSID identity;
  const char16_t* name;  // registered name, as "CorvaneQueue.Queue"
  Ref<IDispatch> (*create)();
};

// Makes instances of one class and keeps the library loaded while locked.
class ClassObject final : public Object<ClassObject, IClassFactory> {
 public:
  explicit ClassObject(const CreatableClass& created) : created_(created) {}
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept final {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return answer([&] { throwIfFailed(created_.create()->QueryInterface(iid, object)); });
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept final {
    liveObjects() += lock != FALSE ? 1 : -1;
    return S_OK;
  }

 private:
  const CreatableClass& created_;
};

}  // namespace CorvaneQueue
