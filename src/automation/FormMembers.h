// The members of a dual interface written once for every class that presents it: a line for each. A line
// makes the vtable member's override, and the form that it calls, which calls the class's own member under
// the error policy of the class. A class replaces a form by defining the member of that name.
//
//   line                          overrides          form                calls
//   FORM_GET(Queue, X)            get_X(result)      Queue_X_Get()       X()
//   FORM_LET(Queue, X)            put_X(value)       Queue_X_Let(value)  X_Let(value)
//   FORM_SET(Queue, X)            putref_X(value)    Queue_X_Set(value)  X_Set(value)
//   FORM_METHOD(Queue, X)         raw_X()            Queue_X()           X()
//   FORM_FUNCTION(Queue, X)       raw_X(result)      Queue_X()           X()
//
// A number behind GET, METHOD and FUNCTION counts further parameters, whose names follow. The types of all
// parameters are those of the interface.
#pragma once

#include "Form.h"

namespace CorvaneQueue::detail {

template <auto Pointer, std::size_t position>
using ParameterOf = std::tuple_element_t<position, typename MemberSignature<decltype(Pointer)>::Parameters>;
template <auto Pointer, std::size_t position>
using ArgumentOf = typename PlatformType<ParameterOf<Pointer, position>>::Argument;
template <class P>
decltype(auto) argument(P& parameter) {
  return PlatformType<P>::argument(parameter);
}

}  // namespace CorvaneQueue::detail

#define FORM_PARAMETER(member, position) CorvaneQueue::detail::ParameterOf<&Presented::member, position>
#define FORM_ARGUMENT(member, position) CorvaneQueue::detail::ArgumentOf<&Presented::member, position>
#define FORM_GIVEN(parameter) CorvaneQueue::detail::argument(parameter)

#define FORM_0(member, form, own, procedure)                             \
  HRESULT CORVANE_CALL member() noexcept final {                         \
    return answer([&] { return self().form(); });                        \
  }                                                                      \
  auto form() {                                                          \
    return self().reportedForm(procedure, [&] { return self().own(); }); \
  }
#define FORM_1(member, form, own, procedure, a)                             \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) a) noexcept final { \
    return answer([&] { return self().form(FORM_GIVEN(a)); });              \
  }                                                                         \
  auto form(FORM_ARGUMENT(member, 0) a) {                                   \
    return self().reportedForm(procedure, [&] { return self().own(a); });   \
  }
#define FORM_2(member, form, own, procedure, a, b)                                                       \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) a, FORM_PARAMETER(member, 1) b) noexcept final { \
    return answer([&] { return self().form(FORM_GIVEN(a), FORM_GIVEN(b)); });                            \
  }                                                                                                      \
  auto form(FORM_ARGUMENT(member, 0) a, FORM_ARGUMENT(member, 1) b) {                                    \
    return self().reportedForm(procedure, [&] { return self().own(a, b); });                             \
  }
#define FORM_RESULT_0(member, form, own, procedure)                              \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) result) noexcept final { \
    return answer(result, [&] { return self().form(); });                        \
  }                                                                              \
  auto form() {                                                                  \
    return self().reportedForm(procedure, [&] { return self().own(); });         \
  }
#define FORM_RESULT_1(member, form, own, procedure, a)                           \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) a,                       \
                              FORM_PARAMETER(member, 1) result) noexcept final { \
    return answer(result, [&] { return self().form(FORM_GIVEN(a)); });           \
  }                                                                              \
  auto form(FORM_ARGUMENT(member, 0) a) {                                        \
    return self().reportedForm(procedure, [&] { return self().own(a); });        \
  }

#define FORM_RESULT_2(member, form, own, procedure, a, b)                               \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) a, FORM_PARAMETER(member, 1) b, \
                              FORM_PARAMETER(member, 2) result) noexcept final {        \
    return answer(result, [&] { return self().form(FORM_GIVEN(a), FORM_GIVEN(b)); });   \
  }                                                                                     \
  auto form(FORM_ARGUMENT(member, 0) a, FORM_ARGUMENT(member, 1) b) {                   \
    return self().reportedForm(procedure, [&] { return self().own(a, b); });            \
  }
#define FORM_RESULT_3(member, form, own, procedure, a, b, c)                                         \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) a, FORM_PARAMETER(member, 1) b,              \
                              FORM_PARAMETER(member, 2) c,                                           \
                              FORM_PARAMETER(member, 3) result) noexcept final {                     \
    return answer(result, [&] { return self().form(FORM_GIVEN(a), FORM_GIVEN(b), FORM_GIVEN(c)); }); \
  }                                                                                                  \
  auto form(FORM_ARGUMENT(member, 0) a, FORM_ARGUMENT(member, 1) b, FORM_ARGUMENT(member, 2) c) {    \
    return self().reportedForm(procedure, [&] { return self().own(a, b, c); });                      \
  }
#define FORM_RESULT_4(member, form, own, procedure, a, b, c, d)                                             \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) a, FORM_PARAMETER(member, 1) b,                     \
                              FORM_PARAMETER(member, 2) c, FORM_PARAMETER(member, 3) d,                     \
                              FORM_PARAMETER(member, 4) result) noexcept final {                            \
    return answer(result,                                                                                   \
                  [&] { return self().form(FORM_GIVEN(a), FORM_GIVEN(b), FORM_GIVEN(c), FORM_GIVEN(d)); }); \
  }                                                                                                         \
  auto form(FORM_ARGUMENT(member, 0) a, FORM_ARGUMENT(member, 1) b, FORM_ARGUMENT(member, 2) c,             \
            FORM_ARGUMENT(member, 3) d) {                                                                   \
    return self().reportedForm(procedure, [&] { return self().own(a, b, c, d); });                          \
  }
#define FORM_3(member, form, own, procedure, a, b, c)                                             \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) a, FORM_PARAMETER(member, 1) b,           \
                              FORM_PARAMETER(member, 2) c) noexcept final {                       \
    return answer([&] { return self().form(FORM_GIVEN(a), FORM_GIVEN(b), FORM_GIVEN(c)); });      \
  }                                                                                               \
  auto form(FORM_ARGUMENT(member, 0) a, FORM_ARGUMENT(member, 1) b, FORM_ARGUMENT(member, 2) c) { \
    return self().reportedForm(procedure, [&] { return self().own(a, b, c); });                   \
  }
#define FORM_4(member, form, own, procedure, a, b, c, d)                                                    \
  HRESULT CORVANE_CALL member(FORM_PARAMETER(member, 0) a, FORM_PARAMETER(member, 1) b,                     \
                              FORM_PARAMETER(member, 2) c, FORM_PARAMETER(member, 3) d) noexcept final {    \
    return answer([&] { return self().form(FORM_GIVEN(a), FORM_GIVEN(b), FORM_GIVEN(c), FORM_GIVEN(d)); }); \
  }                                                                                                         \
  auto form(FORM_ARGUMENT(member, 0) a, FORM_ARGUMENT(member, 1) b, FORM_ARGUMENT(member, 2) c,             \
            FORM_ARGUMENT(member, 3) d) {                                                                   \
    return self().reportedForm(procedure, [&] { return self().own(a, b, c, d); });                          \
  }

#define FORM_GET(kind, name) FORM_RESULT_0(get_##name, kind##_##name##_Get, name, u"" #kind "_" #name " Get")
#define FORM_GET1(kind, name, a) \
  FORM_RESULT_1(get_##name, kind##_##name##_Get, name, u"" #kind "_" #name " Get", a)
#define FORM_LET(kind, name) \
  FORM_1(put_##name, kind##_##name##_Let, name##_Let, u"" #kind "_" #name " Let", value)
#define FORM_SET(kind, name) \
  FORM_1(putref_##name, kind##_##name##_Set, name##_Set, u"" #kind "_" #name " Set", value)
#define FORM_METHOD(kind, name) FORM_0(raw_##name, kind##_##name, name, u"" #kind "_" #name)
#define FORM_METHOD1(kind, name, a) FORM_1(raw_##name, kind##_##name, name, u"" #kind "_" #name, a)
#define FORM_METHOD2(kind, name, a, b) FORM_2(raw_##name, kind##_##name, name, u"" #kind "_" #name, a, b)
#define FORM_FUNCTION(kind, name) FORM_RESULT_0(raw_##name, kind##_##name, name, u"" #kind "_" #name)
#define FORM_FUNCTION1(kind, name, a) FORM_RESULT_1(raw_##name, kind##_##name, name, u"" #kind "_" #name, a)
#define FORM_FUNCTION2(kind, name, a, b) \
  FORM_RESULT_2(raw_##name, kind##_##name, name, u"" #kind "_" #name, a, b)
#define FORM_FUNCTION3(kind, name, a, b, c) \
  FORM_RESULT_3(raw_##name, kind##_##name, name, u"" #kind "_" #name, a, b, c)
#define FORM_FUNCTION4(kind, name, a, b, c, d) \
  FORM_RESULT_4(raw_##name, kind##_##name, name, u"" #kind "_" #name, a, b, c, d)
#define FORM_METHOD3(kind, name, a, b, c) \
  FORM_3(raw_##name, kind##_##name, name, u"" #kind "_" #name, a, b, c)
#define FORM_METHOD4(kind, name, a, b, c, d) \
  FORM_4(raw_##name, kind##_##name, name, u"" #kind "_" #name, a, b, c, d)

// First in a form.
#define FORM_SELF \
  Self& self() noexcept { return static_cast<Self&>(*this); }
