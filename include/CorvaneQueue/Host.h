// Objects of the host services library that clients meet: error reporting and tracing.
#pragma once

#include <CorvaneQueue/members.h>

namespace CorvaneQueue {

// Receives the error reports of one class of one library.
struct _ExceptionHandler : IDispatch {
  // The library and the class that the reports are about.
  virtual HRESULT CORVANE_CALL put_ComponentName(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_ClassName(BSTR value) noexcept = 0;
  // Both at once.
  virtual HRESULT CORVANE_CALL raw_SetNames(BSTR ComponentName, BSTR ClassName) noexcept = 0;
  // The text of the next report.
  virtual HRESULT CORVANE_CALL put_Description(BSTR value) noexcept = 0;
  // The next report carries this error.
  virtual HRESULT CORVANE_CALL raw_TakeError(LONG Number, BSTR Source, BSTR Description) noexcept = 0;
  // Records, always. With RaiseError true the call fails with the recorded error: this number, the
  // procedure name as source, the recorded description. Level 1 is an error, 2 a warning.
  virtual HRESULT CORVANE_CALL raw_Report(VARIANT_BOOL RaiseError, LONG Level, LONG Number,
                                          BSTR ProcedureName) noexcept = 0;
};

inline constexpr std::array exceptionHandlerMembers{
    let<&_ExceptionHandler::put_ComponentName>(1, u"ComponentName"),
    let<&_ExceptionHandler::put_ClassName>(2, u"ClassName"),
    method<&_ExceptionHandler::raw_SetNames>(3, u"SetNames", "", {u"ComponentName", u"ClassName"}),
    let<&_ExceptionHandler::put_Description>(4, u"Description"),
    method<&_ExceptionHandler::raw_TakeError>(5, u"TakeError", "", {u"Number", u"Source", u"Description"}),
    method<&_ExceptionHandler::raw_Report>(6, u"Report", "",
                                           {u"RaiseError", u"Level", u"Number", u"ProcedureName"}),
};

template <>
struct InterfaceTraits<_ExceptionHandler> {
  static constexpr IID iid = {0xd2c0428a, 0x5d5b, 0x4fd3, {0x9c, 0xf8, 0xe5, 0xbc, 0xa1, 0x71, 0xc6, 0x0c}};
  static constexpr const char16_t* name = u"_ExceptionHandler";
  static constexpr std::span<const Member> members = exceptionHandlerMembers;
};

// The trace of one class.
struct _ClassTrace : IDispatch {
  virtual HRESULT CORVANE_CALL get_ExceptionHandler(_ExceptionHandler** result) noexcept = 0;
};

inline constexpr std::array classTraceMembers{
    get<&_ClassTrace::get_ExceptionHandler>(1, u"ExceptionHandler"),
};

template <>
struct InterfaceTraits<_ClassTrace> {
  static constexpr IID iid = {0xa3cb2f01, 0x8fab, 0x47a6, {0x81, 0x08, 0x4e, 0x05, 0x91, 0xc8, 0x16, 0xc2}};
  static constexpr const char16_t* name = u"_ClassTrace";
  static constexpr std::span<const Member> members = classTraceMembers;
};

// The trace of a process. Create it as "CorvaneSYS.ProcessTrace" and hand it to Queue.ProcessTrace or
// Utility.Initialize, or implement it to receive the reports yourself.
struct _ProcessTrace : IDispatch {
  // A variant that holds the ClassTrace of that class of that library.
  virtual HRESULT CORVANE_CALL raw_ClassTrace(BSTR LibraryName, BSTR ClassName, VARIANT* result) noexcept = 0;
};

inline constexpr std::array processTraceMembers{
    function<&_ProcessTrace::raw_ClassTrace>(1, u"ClassTrace", "", {u"LibraryName", u"ClassName"}),
};

template <>
struct InterfaceTraits<_ProcessTrace> {
  static constexpr IID iid = {0xb7e06d17, 0xc539, 0x4fb9, {0x97, 0xb3, 0x89, 0x69, 0x4b, 0xc2, 0x19, 0x84}};
  static constexpr const char16_t* name = u"_ProcessTrace";
  static constexpr std::span<const Member> members = processTraceMembers;
};

inline constexpr CLSID processTraceClass = {
    0x5c784bc0, 0x88dc, 0x415b, {0x86, 0xff, 0xde, 0x1a, 0xaf, 0xde, 0xa1, 0x8b}};

}  // namespace CorvaneQueue
