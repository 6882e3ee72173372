// Member tables: one constexpr row for each member of a dual interface, in interface order. Late
// binding and the type description read them; parameter types are deduced from the vtable member.
#pragma once

#include <CorvaneQueue/arguments.h>

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>

namespace CorvaneQueue {

enum class MemberKind : std::uint8_t { Method, Get, Let, Set };
enum class Passing : std::uint8_t { ByValue, ByReference, Result };

struct ParameterType {
  VARTYPE type = VT_EMPTY;  // VT_DISPATCH or VT_UNKNOWN for object references
  Passing passing = Passing::ByValue;
  const char16_t* interfaceName = nullptr;  // of object references
};

inline constexpr std::size_t maximumParameters = 5;

struct Member {
  // Calls the vtable member of `object` (a pointer to the interface) with the arguments in
  // order, absent ones null; on a conversion failure sets the position of the argument.
  using Invoker = HRESULT (*)(void* object, VARIANT* const* arguments, VARIANT* result, UINT* position);

  DISPID id = 0;
  const char16_t* name = nullptr;
  MemberKind kind = MemberKind::Method;
  std::uint8_t parameterCount = 0;  // the result not counted
  std::uint8_t optionalCount = 0;   // of them, from the last
  bool hasResult = false;
  bool isHidden = false;
  std::array<const char16_t*, maximumParameters> parameterNames{};
  std::array<ParameterType, maximumParameters> parameterTypes{};
  ParameterType resultType{};
  const char* help = "";
  Invoker invoke = nullptr;

  constexpr Member hidden() const {
    Member copy = *this;
    copy.isHidden = true;
    return copy;
  }
  constexpr Member optional(std::uint8_t count) const {
    Member copy = *this;
    copy.optionalCount = count;
    return copy;
  }
};

// An event of two parameters.
struct EventDescription {
  DISPID id;
  const char16_t* name;
  std::array<const char16_t*, 2> parameterNames;
  const char* help;
};

// Late binding over a table; the two calls behind IDispatch.
CORVANE_API HRESULT lateBoundNames(std::span<const Member> members, LPOLESTR* names, UINT count,
                                   DISPID* ids) noexcept;
CORVANE_API HRESULT lateBoundCall(std::span<const Member> members, void* object, DISPID id, WORD flags,
                                  DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                  UINT* argumentInError) noexcept;

namespace detail {

template <class T>
constexpr ParameterType describe(Passing passing) {
  constexpr VARTYPE type = PlatformType<T>::type;
  if constexpr (type == VT_UNKNOWN)
    return {type, passing, u"IUnknown"};
  else if constexpr (type == VT_DISPATCH)
    return {type, passing, InterfaceTraits<std::remove_pointer_t<T>>::name};
  else
    return {type, passing, nullptr};
}

template <class P>
inline constexpr bool isReference = !requires { PlatformType<P>::type; };

template <class P>
constexpr ParameterType describeParameter() {
  if constexpr (isReference<P>)
    return describe<std::remove_pointer_t<P>>(Passing::ByReference);
  else
    return describe<P>(Passing::ByValue);
}

template <auto Pointer, bool hasResult, std::size_t... I>
HRESULT invokeMember(void* object, VARIANT* const* arguments, VARIANT* result, UINT* position,
                     std::index_sequence<I...>) {
  using Signature = MemberSignature<decltype(Pointer)>;
  using Parameters = typename Signature::Parameters;
  auto* self = static_cast<typename Signature::Interface*>(object);
  std::tuple<Incoming<std::tuple_element_t<I, Parameters>>...> incoming;
  HRESULT status = S_OK;
  (void)((*position = I, status = std::get<I>(incoming).accept(arguments[I]), SUCCEEDED(status)) && ...);
  if (FAILED(status)) return status;
  *position = sizeof...(I);
  const auto writeBack = [&] {
    HRESULT written = S_OK;
    (void)((written = std::get<I>(incoming).finish(), SUCCEEDED(written)) && ...);
    if (FAILED(status)) return;
    status = written;
    if (FAILED(written)) SetErrorInfo(0, nullptr);  // the member reported nothing
  };
  if constexpr (hasResult) {
    Returned<std::remove_pointer_t<std::tuple_element_t<sizeof...(I), Parameters>>> returned;
    status = (self->*Pointer)(std::get<I>(incoming).value()..., returned.address());
    writeBack();
    if (SUCCEEDED(status) && result != nullptr) giveResult(result, returned);
  } else {
    status = (self->*Pointer)(std::get<I>(incoming).value()...);
    writeBack();
  }
  return status;
}

// Whether the vtable member is that of the name: get_X, put_X, putref_X or raw_X.
template <auto Pointer>
constexpr bool isOf([[maybe_unused]] MemberKind kind, [[maybe_unused]] std::u16string_view name) {
#ifdef __GNUC__
  std::string_view spelled = __PRETTY_FUNCTION__;
  spelled.remove_prefix(spelled.find("Pointer = &"));
  spelled = spelled.substr(0, spelled.find_first_of(";]"));
  spelled.remove_prefix(spelled.rfind(':') + 1);
  constexpr std::string_view prefixes[] = {"raw_", "get_", "put_", "putref_"};
  const std::string_view prefix = prefixes[static_cast<std::size_t>(kind)];
  if (spelled.substr(0, prefix.size()) != prefix) return false;
  spelled.remove_prefix(prefix.size());
  return std::equal(spelled.begin(), spelled.end(), name.begin(), name.end());
#else
  return true;
#endif
}

template <auto Pointer, bool hasResult>
constexpr Member row(MemberKind kind, DISPID id, const char16_t* name, const char* help,
                     std::array<const char16_t*, maximumParameters> parameterNames) {
  using Signature = MemberSignature<decltype(Pointer)>;
  using Parameters = typename Signature::Parameters;
  constexpr std::size_t count = Signature::count - (hasResult ? 1 : 0);
  static_assert(count <= maximumParameters);
  if (!isOf<Pointer>(kind, name)) throw "the row names another member than it points to";
  Member member;
  member.id = id;
  member.name = name;
  member.kind = kind;
  member.help = help;
  member.hasResult = hasResult;
  member.parameterCount = count;
  member.parameterNames = parameterNames;
  [&]<std::size_t... I>(std::index_sequence<I...>) {
    ((member.parameterTypes[I] = describeParameter<std::tuple_element_t<I, Parameters>>()), ...);
  }(std::make_index_sequence<count>());
  if constexpr (hasResult)
    member.resultType =
        describe<std::remove_pointer_t<std::tuple_element_t<count, Parameters>>>(Passing::Result);
  member.invoke = [](void* object, VARIANT* const* arguments, VARIANT* result, UINT* position) {
    return invokeMember<Pointer, hasResult>(object, arguments, result, position,
                                            std::make_index_sequence<count>());
  };
  return member;
}

}  // namespace detail

// The rows of a table. Parameter names follow the name (and help text) of a member.
using ParameterNames = std::array<const char16_t*, maximumParameters>;

template <auto Pointer>
constexpr Member get(DISPID id, const char16_t* name, const char* help = "", ParameterNames parameters = {}) {
  return detail::row<Pointer, true>(MemberKind::Get, id, name, help, parameters);
}
template <auto Pointer>
constexpr Member let(DISPID id, const char16_t* name, const char* help = "",
                     ParameterNames parameters = {u"RHS"}) {
  return detail::row<Pointer, false>(MemberKind::Let, id, name, help, parameters);
}
template <auto Pointer>
constexpr Member set(DISPID id, const char16_t* name, const char* help = "",
                     ParameterNames parameters = {u"RHS"}) {
  return detail::row<Pointer, false>(MemberKind::Set, id, name, help, parameters);
}
template <auto Pointer>
constexpr Member method(DISPID id, const char16_t* name, const char* help = "",
                        ParameterNames parameters = {}) {
  return detail::row<Pointer, false>(MemberKind::Method, id, name, help, parameters);
}
// A method with a result.
template <auto Pointer>
constexpr Member function(DISPID id, const char16_t* name, const char* help = "",
                          ParameterNames parameters = {}) {
  return detail::row<Pointer, true>(MemberKind::Method, id, name, help, parameters);
}

}  // namespace CorvaneQueue
