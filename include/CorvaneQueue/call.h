// Calls of interface members with C++ values: failed results become exceptions.
#pragma once

#include <CorvaneQueue/platformTypes.h>

#include <tuple>
#include <type_traits>

namespace CorvaneQueue {

namespace detail {

template <class Pointer>
struct MemberSignature;
template <class Interface_, class... Parameters_>
struct MemberSignature<HRESULT (CORVANE_CALL Interface_::*)(Parameters_...) noexcept> {
  using Interface = Interface_;
  using Parameters = std::tuple<Parameters_...>;
  static constexpr std::size_t count = sizeof...(Parameters_);
};

template <class A>
struct IsReference : std::false_type {};
template <class I>
struct IsReference<Ref<I>> : std::true_type {};

// How an argument given as A travels as a parameter of type P.
template <class P, class A>
struct Passed {
  P value;
  explicit Passed(A argument) : value(static_cast<P>(argument)) {}
};
template <class A>
requires std::same_as<std::remove_cvref_t<A>, bool>
struct Passed<VARIANT_BOOL, A> {
  VARIANT_BOOL value;
  explicit Passed(bool argument) : value(PlatformType<VARIANT_BOOL>::give(argument)) {}
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
// By reference: a Variant or a String that the callee may change.
template <class T, class A>
requires std::same_as<std::remove_cvref_t<A>, typename PlatformType<T>::Value>
struct Passed<T*, A> {
  T* value;
  explicit Passed(typename PlatformType<T>::Value& argument) : value(argument.address()) {}
};
template <AutomationInterface I, class A>
requires IsReference<std::remove_cvref_t<A>>::value
struct Passed<I*, A> {
  I* value;
  explicit Passed(const std::remove_cvref_t<A>& argument) : value(argument.get()) {}
};

// A result on its way out of a member.
template <class T>
struct Returned {
  T value{};
  Returned() = default;
  Returned(const Returned&) = delete;
  Returned& operator=(const Returned&) = delete;
  ~Returned() { static_cast<void>(take()); }
  T* address() noexcept { return &value; }
  auto take() noexcept { return PlatformType<T>::take(std::exchange(value, T{})); }
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
