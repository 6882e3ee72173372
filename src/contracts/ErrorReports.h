// The common error pattern: a failing member hands its error to the exception handler, which raises
// it to the caller with the member's procedure name as source. Who does what with a failure:
//
//   class                            members                      forms
//   PublicQueue                      report                       pass on
//   PublicUtility, DbUtility,
//   MSMQUtility (UtilityRules)       report                       pass on
//   DbQueue                          report                       report again (reportedForm)
//   DbQueues                         report                       pass on
//   MSMQQueue                        pass on; what fails in an    pass on
//                                    arrival is noted, not raised
//   PublicQueues, lists, journals,
//   messages                         pass on                      pass on
//
// "Not implemented" is a report of its own, which no member reports once more.
#pragma once

#include "Form.h"

#include <CorvaneQueue/Host.h>

#include <span>
#include <string_view>

namespace CorvaneQueue {

inline constexpr const char16_t* libraryName = u"CorvaneQueue";

class ErrorReports {
 public:
  // How a class names itself to a new exception handler.
  enum class Naming { InOneCall, OneByOne };
  ErrorReports(const char16_t* className, Naming naming);

  // Takes the handler that the trace has for this class. A null trace changes nothing.
  void traceBy(const Ref<_ProcessTrace>& trace);

  void releaseTrace() noexcept { classTrace_ = nullptr; }

  // Runs a member. On failure the error is reported and raised under the procedure name; should the
  // handler not raise, the member's result is empty.
  template <class Body>
  auto reported(std::u16string_view procedure, Body&& body) -> decltype(body()) {
    try {
      return body();
    } catch (...) {
      report(procedure, Error::current());
    }
    if constexpr (!std::is_void_v<decltype(body())>) return decltype(body()){};
  }

  // Reports a failure, or a warning with this number and text, and raises nothing.
  void noted(std::u16string_view procedure, const Error& error);
  void warned(std::u16string_view procedure, std::int32_t number, std::u16string_view text);
  // Reports, and does not raise, what sinks of evtArrived have failed with.
  void notedSinks(std::span<const Error> failures, std::u16string_view queue, std::u16string_view document);
  // Reports and raises "Not implemented" under the procedure name.
  void notImplemented(std::u16string_view procedure);

 private:
  void report(std::u16string_view procedure, const Error& error);

  const char16_t* className_;
  Ref<_ClassTrace> classTrace_;
  Ref<_ExceptionHandler> handler_;
};

}  // namespace CorvaneQueue
