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
  HRESULT CORVANE_CALL CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept final {
    SetErrorInfo(0, nullptr);  // a failure leaves its own error information or none
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    HRESULT found = S_OK;
    const HRESULT created = answer([&] { found = created_.create()->QueryInterface(iid, object); });
    return FAILED(created) ? created : found;
  }
  HRESULT CORVANE_CALL LockServer(BOOL lock) noexcept final {
    liveObjects() += lock != 0 ? 1 : -1;
    return S_OK;
  }

 private:
  const CreatableClass& created_;
};

}  // namespace CorvaneQueue
