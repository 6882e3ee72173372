#include "ErrorReports.h"

#include "Platform.h"

namespace CorvaneQueue {

namespace {
constexpr std::int32_t errorLevel = 1;
}

ErrorReports::ErrorReports(const char16_t* className, Naming naming)
    : className_(className), handler_(platform().host->createExceptionHandler()) {
  if (naming == Naming::InOneCall) {
    call<&_ExceptionHandler::raw_SetNames>(handler_, libraryName, className);
  } else {
    call<&_ExceptionHandler::put_ComponentName>(handler_, libraryName);
    call<&_ExceptionHandler::put_ClassName>(handler_, className);
  }
}

void ErrorReports::traceBy(const Ref<_ProcessTrace>& trace) {
  if (!trace) return;
  const Variant held = call<&_ProcessTrace::raw_ClassTrace>(trace, libraryName, className_);
  IUnknown* object = nullptr;
  throwIfFailed(detail::objectIn(held.get(), object));
  classTrace_ = query<_ClassTrace>(object);
  handler_ = call<&_ClassTrace::get_ExceptionHandler>(classTrace_);
}

void ErrorReports::report(std::u16string_view procedure, const Error& error) {
  call<&_ExceptionHandler::raw_TakeError>(handler_, error.number(), error.source(), error.description());
  call<&_ExceptionHandler::raw_Report>(handler_, true, errorLevel, error.number(), procedure);
}

void ErrorReports::notImplemented(std::u16string_view procedure) {
  call<&_ExceptionHandler::put_Description>(handler_, u"Not implemented");
  call<&_ExceptionHandler::raw_Report>(handler_, true, errorLevel, ErrorNumber::NotImplemented, procedure);
}

}  // namespace CorvaneQueue
