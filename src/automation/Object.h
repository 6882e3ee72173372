// The base of every automation object.
#pragma once

#include "ClassInformation.h"
#include "Form.h"

#include <atomic>

namespace CorvaneQueue {

// Objects alive in this process, for unloading.
std::atomic<long>& liveObjects() noexcept;

namespace detail {
template <class Base>
struct PresentedBy {
  using type = Base;
};
template <class Base>
requires requires { typename Base::Presented; }
struct PresentedBy<Base> {
  using type = typename Base::Presented;
};

// Whether failures of an interface's members always leave error information. Those of the runtime's own
// interfaces answer with plain results, but for the creation of objects.
template <class Interface>
inline constexpr bool reportsErrors =
    (std::is_base_of_v<IDispatch, Interface> && !std::is_same_v<IDispatch, Interface>) ||
    std::is_same_v<IClassFactory, Interface>;
}  // namespace detail

// Counts references and answers for the interfaces that its bases present: a form presents its
// dual interface, any other base is an interface itself. The first base is the default: IUnknown and
// IDispatch mean its own. A class with a `classIdentity` also answers for itself, so that its kind
// recognises it behind any interface.
template <class Self, class First, class... Rest>
class Object : public First, public Rest..., public ISupportErrorInfo, public ClassInformation<Self> {
 public:
  using DefaultInterface = typename detail::PresentedBy<First>::type;

  HRESULT CORVANE_CALL QueryInterface(REFIID iid, void** object) noexcept final {
    if (object == nullptr) return E_POINTER;
    *object = find(iid);
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG CORVANE_CALL AddRef() noexcept final { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  ULONG CORVANE_CALL Release() noexcept final {
    const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) {
      count_ = beingDestroyed;  // a teardown may hand out and take back references
      delete static_cast<Self*>(this);
    }
    return left;
  }
  HRESULT CORVANE_CALL InterfaceSupportsErrorInfo(REFIID iid) noexcept final {
    return reports<First>(iid) || (reports<Rest>(iid) || ...) ? S_OK : S_FALSE;
  }

  // The error policy of the interface forms: pass through, unless a class has its own.
  template <class Body>
  auto reportedForm(std::u16string_view, Body&& body) {
    return body();
  }

  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

 protected:
  Object() noexcept { ++liveObjects(); }
  ~Object() { --liveObjects(); }

 private:
  static constexpr ULONG beingDestroyed = 0x40000000;

  template <class Base>
  static bool reports(REFIID iid) noexcept {
    using Interface = typename detail::PresentedBy<Base>::type;
    return detail::reportsErrors<Interface> && iid == iidOf<Interface>;
  }
  template <class Base>
  void offer(REFIID iid, void*& found) noexcept {
    using Interface = typename detail::PresentedBy<Base>::type;
    if (found == nullptr && iid == iidOf<Interface>)
      found = static_cast<Interface*>(static_cast<Base*>(this));
  }
  void* find(REFIID iid) noexcept {
    void* found = nullptr;
    offer<First>(iid, found);
    (offer<Rest>(iid, found), ...);
    if (found != nullptr) return found;
    if (iid == IID_IUnknown) return static_cast<IUnknown*>(static_cast<First*>(this));
    if constexpr (std::is_base_of_v<IDispatch, First>)
      if (iid == IID_IDispatch) return static_cast<IDispatch*>(static_cast<First*>(this));
    if constexpr (std::is_base_of_v<IDispatch, First>)
      if (void* const provided = this->provideClassInfo(iid)) return provided;
    if (iid == IID_ISupportErrorInfo) return static_cast<ISupportErrorInfo*>(this);
    if constexpr (requires { Self::classIdentity; })
      if (iid == Self::classIdentity) return static_cast<Self*>(this);
    return nullptr;
  }

  std::atomic<ULONG> count_{1};
};

// Creates an object with one reference.
template <class T, class... A>
Ref<T> make(A&&... arguments) {
  return Ref<T>::adopt(new T(std::forward<A>(arguments)...));
}

// The object itself behind a reference. Throws 91 without an object, 13 for an object of another class.
template <class T>
Ref<T> queryClass(IUnknown* object) {
  if (object == nullptr) return query<IUnknown>(nullptr), nullptr;
  void* found = nullptr;
  if (FAILED(object->QueryInterface(T::classIdentity, &found)))
    throw Error(ErrorNumber::TypeMismatch, {},
                u"Type mismatch: the object is not a " + std::u16string(T::className) + u".");
  return Ref<T>::adopt(static_cast<T*>(found));
}

// The same object through its default interface, as IDispatch.
template <class T>
Ref<IDispatch> asDispatch(const Ref<T>& object) noexcept {
  return Ref<typename T::DefaultInterface>(object);
}

}  // namespace CorvaneQueue
