// Error reporting and tracing of the host services library.
#pragma once

#include "Object.h"

#include <CorvaneQueue/Host.h>

namespace CorvaneQueue::platform_layer {

// Writes one line a report to log/corvane.log of the installation.
class ExceptionHandler final : public Object<ExceptionHandler, DispatchForm<_ExceptionHandler>> {
 public:
  ExceptionHandler() = default;
  ExceptionHandler(String component, String className)
      : component_(std::move(component)), className_(std::move(className)) {}

  HRESULT CORVANE_CALL put_ComponentName(BSTR value) noexcept final;
  HRESULT CORVANE_CALL put_ClassName(BSTR value) noexcept final;
  HRESULT CORVANE_CALL raw_SetNames(BSTR ComponentName, BSTR ClassName) noexcept final;
  HRESULT CORVANE_CALL put_Description(BSTR value) noexcept final;
  HRESULT CORVANE_CALL raw_TakeError(LONG Number, BSTR Source, BSTR Description) noexcept final;
  HRESULT CORVANE_CALL raw_Report(VARIANT_BOOL RaiseError, LONG Level, LONG Number,
                                  BSTR ProcedureName) noexcept final;

 private:
  String component_;
  String className_;
  String source_;
  String description_;
};

class ProcessTrace final : public Object<ProcessTrace, DispatchForm<_ProcessTrace>> {
 public:
  HRESULT CORVANE_CALL raw_ClassTrace(BSTR LibraryName, BSTR ClassName, VARIANT* result) noexcept final;
};

}  // namespace CorvaneQueue::platform_layer
