// The arguments and results of late-bound calls.
#pragma once

#include <CorvaneQueue/call.h>

namespace CorvaneQueue::detail {

// An argument of a late-bound call on its way to a parameter: follows references, converts, and
// for a parameter by reference writes the new value back.
template <class P>
struct Incoming;

// One with a place of its own in a variant.
template <class T>
concept Scalar = requires(VARIANT& variant) { PlatformType<T>::behind(variant); };

// The object in a variant, references followed; an empty variant holds none.
inline HRESULT objectIn(const VARIANT& argument, IUnknown*& object) noexcept {
  const VARIANT* value = &argument;
  if (value->vt == (VT_VARIANT | VT_BYREF)) value = value->pvarVal;
  switch (value->vt) {
    case VT_EMPTY: object = nullptr; return S_OK;
    case VT_DISPATCH:
    case VT_UNKNOWN: object = value->punkVal; return S_OK;
    case VT_DISPATCH | VT_BYREF:
    case VT_UNKNOWN | VT_BYREF: object = *value->ppunkVal; return S_OK;
    default: return DISP_E_TYPEMISMATCH;
  }
}

template <Scalar T>
struct Incoming<T> {
  Variant converted;
  HRESULT accept(VARIANT* argument) noexcept {
    if (argument == nullptr) {  // omitted: the type's zero
      converted.address()->vt = PlatformType<T>::type;
      return S_OK;
    }
    return changeType(converted.address(), argument, 0, PlatformType<T>::type);
  }
  T value() noexcept { return PlatformType<T>::in(*converted.address()); }
  HRESULT finish() noexcept { return S_OK; }
};
template <Scalar T>
struct Incoming<T*> {
  VARIANT* target = nullptr;
  T* direct = nullptr;
  Variant converted;
  HRESULT accept(VARIANT* argument) noexcept {
    if (argument != nullptr && argument->vt == (PlatformType<T>::type | VT_BYREF)) {
      direct = PlatformType<T>::behind(*argument);
      return S_OK;
    }
    Incoming<T> plain;
    const HRESULT result = plain.accept(argument);
    converted = std::move(plain.converted);
    if (argument != nullptr && argument->vt == (VT_VARIANT | VT_BYREF)) target = argument->pvarVal;
    return result;
  }
  T* value() noexcept { return direct != nullptr ? direct : &PlatformType<T>::in(*converted.address()); }
  HRESULT finish() noexcept { return target == nullptr ? S_OK : VariantCopy(target, &converted.get()); }
};
template <>
struct Incoming<VARIANT> {
  Variant copy;
  HRESULT accept(VARIANT* argument) noexcept {
    if (argument == nullptr) {
      copy = Variant::omitted();
      return S_OK;
    }
    return VariantCopyInd(copy.address(), argument);
  }
  VARIANT value() const noexcept { return copy.get(); }
  HRESULT finish() noexcept { return S_OK; }
};
template <>
struct Incoming<VARIANT*> {
  Variant omitted = Variant::omitted();
  VARIANT* argument = nullptr;
  HRESULT accept(VARIANT* given) noexcept {
    argument = given == nullptr                       ? omitted.address()
               : given->vt == (VT_VARIANT | VT_BYREF) ? given->pvarVal
                                                      : given;
    return S_OK;
  }
  VARIANT* value() const noexcept { return argument; }
  HRESULT finish() noexcept { return S_OK; }
};
template <AutomationInterface I>
struct Incoming<I*> {
  Ref<I> object;
  HRESULT accept(VARIANT* argument) noexcept {
    IUnknown* given = nullptr;
    if (argument != nullptr) {
      const HRESULT result = objectIn(*argument, given);
      if (FAILED(result)) return result;
    }
    object = tryQuery<I>(given);
    return given != nullptr && !object ? DISP_E_TYPEMISMATCH : S_OK;
  }
  I* value() const noexcept { return object.get(); }
  HRESULT finish() noexcept { return S_OK; }
};
template <AutomationInterface I>
struct Incoming<I**> {
  Incoming<I*> given;
  I* object = nullptr;
  VARIANT* target = nullptr;
  HRESULT accept(VARIANT* argument) noexcept {
    const HRESULT result = given.accept(argument);
    object = given.object.detach();
    target = argument;
    return result;
  }
  I** value() noexcept { return &object; }
  HRESULT finish() noexcept {
    Variant left{Ref<IDispatch>(object)};
    if (target == nullptr) return S_OK;
    if (target->vt == (VT_VARIANT | VT_BYREF)) return VariantCopy(target->pvarVal, &left.get());
    if (target->vt == (VT_DISPATCH | VT_BYREF)) {
      if (*target->ppdispVal != nullptr) (*target->ppdispVal)->Release();
      *target->ppdispVal = left.detach().pdispVal;
    }
    return S_OK;
  }
  ~Incoming() {
    if (object != nullptr) object->Release();
  }
};

template <class T>
void giveResult(VARIANT* result, Returned<T>& returned) {
  T value = std::exchange(returned.value, T{});
  if constexpr (std::is_same_v<T, VARIANT>) {
    *result = value;
  } else {
    result->vt = PlatformType<T>::type;
    PlatformType<T>::in(*result) = value;
  }
}

}  // namespace CorvaneQueue::detail
