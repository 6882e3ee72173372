#include "ErrorReports.h"

#include "Platform.h"

namespace CorvaneQueue {

namespace {
constexpr std::int32_t errorLevel = 1;
constexpr std::int32_t warningLevel = 2;
}  // namespace

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
  throwIfFailedPlain(detail::objectIn(held.get(), object));
  const auto classTrace = query<_ClassTrace>(object);
  const auto handler = call<&_ClassTrace::get_ExceptionHandler>(classTrace);
  if (!handler)
    throw Error(ErrorNumber::ObjectNotSet, {},
                u"Object not set: the class trace has no exception handler; the one in use stays.");
  classTrace_ = classTrace;
  handler_ = handler;
}

void ErrorReports::report(std::u16string_view procedure, const Error& error) {
  const auto handler = handler_;  // a client's handler may replace it while it reports
  call<&_ExceptionHandler::raw_TakeError>(handler, error.number(), error.source(), error.description());
  call<&_ExceptionHandler::raw_Report>(handler, true, errorLevel, error.number(), procedure);
}

void ErrorReports::noted(std::u16string_view procedure, const Error& error) {
  const auto handler = handler_;
  call<&_ExceptionHandler::raw_TakeError>(handler, error.number(), error.source(), error.description());
  call<&_ExceptionHandler::raw_Report>(handler, false, errorLevel, error.number(), procedure);
}

void ErrorReports::warned(std::u16string_view procedure, std::int32_t number, std::u16string_view text) {
  const auto handler = handler_;
  call<&_ExceptionHandler::put_Description>(handler, text);
  call<&_ExceptionHandler::raw_Report>(handler, false, warningLevel, number, procedure);
}

void ErrorReports::notedSinks(std::span<const Error> failures, std::u16string_view queue,
                              std::u16string_view document) {
  for (const Error& failure : failures) {
    std::u16string text = u"A handler has failed with the document ";
    text += document;
    text += u" of the queue \"";
    text += queue;
    text += u"\": ";
    text += failure.description().view();
    noted(u"evtArrived", Error(failure.number(), failure.source(), String(text)));
  }
}

void ErrorReports::notImplemented(std::u16string_view procedure) {
  const auto handler = handler_;
  call<&_ExceptionHandler::put_Description>(handler, u"Not implemented");
  call<&_ExceptionHandler::raw_Report>(handler, true, errorLevel, ErrorNumber::NotImplemented, procedure);
}

}  // namespace CorvaneQueue
