// The platform's types of parameters and results, and what each is as a C++ value.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <concepts>
#include <type_traits>

namespace CorvaneQueue::detail {

template <class I>
concept AutomationInterface = std::is_base_of_v<IUnknown, I>;

// For each type T:
//   Value                what a result of it is in C++; take() and give() convert, and pass ownership on
//   Argument             what a member is given for it; argument() converts, and borrows
//   type, in(), behind() the kind of variant that holds one, its place there, and behind a reference
template <class T>
struct PlatformType;

template <>
struct PlatformType<BSTR> {
  using Value = String;
  using Argument = StringRef;
  static String take(BSTR text) noexcept { return String::adopt(text); }
  static BSTR give(String value) noexcept { return value.detach(); }
  static StringRef argument(BSTR text) noexcept { return StringRef(text); }
  static constexpr VARTYPE type = VT_BSTR;
  static BSTR& in(VARIANT& variant) noexcept { return variant.bstrVal; }
  static BSTR* behind(VARIANT& variant) noexcept { return variant.pbstrVal; }
};

template <>
struct PlatformType<LONG> {
  using Value = std::int32_t;
  using Argument = std::int32_t;
  static std::int32_t take(LONG number) noexcept { return number; }
  static LONG give(std::int32_t value) noexcept { return value; }
  static std::int32_t argument(LONG number) noexcept { return number; }
  static constexpr VARTYPE type = VT_I4;
  static LONG& in(VARIANT& variant) noexcept { return variant.lVal; }
  static LONG* behind(VARIANT& variant) noexcept { return variant.plVal; }
};

template <>
struct PlatformType<VARIANT_BOOL> {
  using Value = bool;
  using Argument = bool;
  static bool take(VARIANT_BOOL truth) noexcept { return truth != VARIANT_FALSE; }
  static VARIANT_BOOL give(bool value) noexcept { return value ? VARIANT_TRUE : VARIANT_FALSE; }
  static bool argument(VARIANT_BOOL truth) noexcept { return take(truth); }
  static constexpr VARTYPE type = VT_BOOL;
  static VARIANT_BOOL& in(VARIANT& variant) noexcept { return variant.boolVal; }
  static VARIANT_BOOL* behind(VARIANT& variant) noexcept { return variant.pboolVal; }
};

template <>
struct PlatformType<DATE> {
  using Value = Date;
  using Argument = Date;
  static Date take(DATE date) noexcept { return {date}; }
  static DATE give(Date value) noexcept { return value.value; }
  static Date argument(DATE date) noexcept { return {date}; }
  static constexpr VARTYPE type = VT_DATE;
  static DATE& in(VARIANT& variant) noexcept { return variant.date; }
  static DATE* behind(VARIANT& variant) noexcept { return variant.pdate; }
};

template <>
struct PlatformType<VARIANT> {
  using Value = Variant;
  using Argument = const VARIANT&;
  static Variant take(const VARIANT& variant) noexcept { return Variant::adopt(variant); }
  static VARIANT give(Variant value) noexcept { return value.detach(); }
  static const VARIANT& argument(const VARIANT& variant) noexcept { return variant; }
  static constexpr VARTYPE type = VT_VARIANT;
};

template <AutomationInterface I>
struct PlatformType<I*> {
  using Value = Ref<I>;
  using Argument = const Ref<I>&;
  static Ref<I> take(I* object) noexcept { return Ref<I>::adopt(object); }
  template <class T>
  static I* give(Ref<T> value) {
    if constexpr (std::is_convertible_v<T*, I*>)
      return value.detach();
    else
      return value ? query<I>(value.get()).detach() : nullptr;
  }
  static Ref<I> argument(I* object) noexcept { return Ref<I>(object); }
  static constexpr VARTYPE type = std::is_base_of_v<IDispatch, I> ? VT_DISPATCH : VT_UNKNOWN;
  static IUnknown*& in(VARIANT& variant) noexcept { return variant.punkVal; }
};

// A parameter by reference, which the caller must have given. Throws 91.
template <class T>
requires(!std::is_void_v<T> && !AutomationInterface<T>)
struct PlatformType<T*> {
  using Argument = T&;
  static T& argument(T* reference) {
    if (reference == nullptr)
      throw Error(ErrorNumber::ObjectNotSet, {},
                  u"Object not set: a null was given where a reference is needed.");
    return *reference;
  }
};

}  // namespace CorvaneQueue::detail
