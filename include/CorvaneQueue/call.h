// Calls of interface members with C++ values: failed results become exceptions.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <tuple>
#include <type_traits>

namespace CorvaneQueue {

namespace detail {

template <class Pointer>
struct MemberSignature;
template <class Interface_, class... Parameters_>
struct MemberSignature<HRESULT (STDMETHODCALLTYPE Interface_::*)(Parameters_...) noexcept> {
  using Interface = Interface_;
  using Parameters = std::tuple<Parameters_...>;
  static constexpr std::size_t count = sizeof...(Parameters_);
};

// How an argument given as A travels as a parameter of type P.
template <class P, class A>
struct Passed {
  P value;
  explicit Passed(A argument) : value(static_cast<P>(argument)) {}
};
template <class A>
struct Passed<BSTR, A> {
  explicit Passed(A argument) {
    if constexpr (std::is_convertible_v<A, StringRef>) {
      value = static_cast<StringRef>(argument).bstr();
    } else {
      owned = String(argument);
      value = owned.bstr();
    }
  }
  String owned;
  BSTR value;
};
template <>
struct Passed<VARIANT_BOOL, bool> {
  VARIANT_BOOL value;
  explicit Passed(bool argument) : value(argument ? VARIANT_TRUE : VARIANT_FALSE) {}
};
template <class A>
requires std::same_as < std::remove_cvref_t<A>,
bool > struct Passed<VARIANT_BOOL, A> : Passed<VARIANT_BOOL, bool> {
  using Passed<VARIANT_BOOL, bool>::Passed;
};
template <class A>
struct Passed<VARIANT, A> {
  explicit Passed(A argument) {
    if constexpr (std::is_convertible_v<A, const VARIANT&>) {
      value = argument;
    } else if constexpr (std::is_same_v<std::remove_cvref_t<A>, Variant>) {
      value = argument.get();
    } else {
      owned = Variant(argument);
      value = owned.get();
    }
  }
  Variant owned;
  VARIANT value;
};
template <class A>
requires std::same_as<std::remove_cvref_t<A>, Variant>
struct Passed<VARIANT*, A> {
  VARIANT* value;
  explicit Passed(Variant& argument) : value(argument.address()) {}
};
template <class A>
requires std::same_as<std::remove_cvref_t<A>, String>
struct Passed<BSTR*, A> {
  BSTR* value;
  explicit Passed(String& argument) : value(argument.address()) {}
};
template <class I, class U>
struct Passed<I*, Ref<U>&> {
  I* value;
  explicit Passed(const Ref<U>& argument) : value(argument.get()) {}
};
template <class I, class U>
struct Passed<I*, const Ref<U>&> : Passed<I*, Ref<U>&> {
  using Passed<I*, Ref<U>&>::Passed;
};
template <class I, class U>
struct Passed<I*, Ref<U>&&> : Passed<I*, Ref<U>&> {
  using Passed<I*, Ref<U>&>::Passed;
};

// What a result of type T* is as a C++ value.
template <class T>
struct Returned {
  T value{};
  T* address() noexcept { return &value; }
  T take() noexcept { return value; }
};
template <>
struct Returned<BSTR> {
  String value;
  BSTR* address() noexcept { return value.address(); }
  String take() noexcept { return std::move(value); }
};
template <>
struct Returned<VARIANT_BOOL> {
  VARIANT_BOOL value = VARIANT_FALSE;
  VARIANT_BOOL* address() noexcept { return &value; }
  bool take() const noexcept { return value != VARIANT_FALSE; }
};
template <>
struct Returned<DATE> {
  DATE value = 0;
  DATE* address() noexcept { return &value; }
  Date take() const noexcept { return {value}; }
};
template <>
struct Returned<VARIANT> {
  Variant value;
  VARIANT* address() noexcept { return value.address(); }
  Variant take() noexcept { return std::move(value); }
};
template <class I>
struct Returned<I*> {
  I* value = nullptr;
  I** address() noexcept { return &value; }
  Ref<I> take() noexcept { return Ref<I>::adopt(std::exchange(value, nullptr)); }
  ~Returned() {
    if (value != nullptr) value->Release();
  }
};

template <auto Member, class Interface, class... A>
void callAndThrow(Interface* object, A... arguments) {
  const HRESULT result = (object->*Member)(arguments...);
  if (FAILED(result)) throw Error::fromResult(result, object, iidOf<Interface>);
}

template <auto Member, class Interface, std::size_t... I, class... A>
auto callMember(Interface* object, std::index_sequence<I...>, A&&... arguments) {
  using Signature = MemberSignature<decltype(Member)>;
  using Parameters = typename Signature::Parameters;
  if (object == nullptr)
    throw Error(ErrorNumber::ObjectNotSet, {}, u"Object not set: there is no object to call.");
  if constexpr (Signature::count == sizeof...(A)) {
    callAndThrow<Member>(
        object, Passed<std::tuple_element_t<I, Parameters>, A&&>(std::forward<A>(arguments)).value...);
  } else {
    using Result = std::remove_pointer_t<std::tuple_element_t<sizeof...(A), Parameters>>;
    Returned<Result> result;
    callAndThrow<Member>(
        object, Passed<std::tuple_element_t<I, Parameters>, A&&>(std::forward<A>(arguments)).value...,
        result.address());
    return result.take();
  }
}

}  // namespace detail

// call<&_Queue::get_Name>(queue) returns the result of the member, or throws the Error that it
// reports. Strings, variants and references are borrowed for the call. A null object throws 91.
template <auto Member, class... A>
auto call(typename detail::MemberSignature<decltype(Member)>::Interface* object, A&&... arguments) {
  return detail::callMember<Member>(object, std::index_sequence_for<A...>(), std::forward<A>(arguments)...);
}
template <auto Member, class Interface, class... A>
auto call(const Ref<Interface>& object, A&&... arguments) {
  return call<Member>(object.get(), std::forward<A>(arguments)...);
}

}  // namespace CorvaneQueue
