#include "ExceptionHandler.h"

#include "Log.h"

namespace CorvaneQueue::platform_layer {

namespace {

class ClassTrace final : public Object<ClassTrace, DispatchForm<_ClassTrace>> {
 public:
  ClassTrace(StringRef library, StringRef className)
      : handler_(make<ExceptionHandler>(String(library), String(className))) {}
  HRESULT CORVANE_CALL get_ExceptionHandler(_ExceptionHandler** result) noexcept final {
    return answer(result, [&] { return handler_; });
  }

 private:
  Ref<ExceptionHandler> handler_;
};

}  // namespace

HRESULT ExceptionHandler::put_ComponentName(BSTR value) noexcept {
  return answer([&] { component_ = String(StringRef(value)); });
}
HRESULT ExceptionHandler::put_ClassName(BSTR value) noexcept {
  return answer([&] { className_ = String(StringRef(value)); });
}
HRESULT ExceptionHandler::raw_SetNames(BSTR ComponentName, BSTR ClassName) noexcept {
  return answer([&] {
    component_ = String(StringRef(ComponentName));
    className_ = String(StringRef(ClassName));
  });
}
HRESULT ExceptionHandler::put_Description(BSTR value) noexcept {
  return answer([&] {
    source_ = {};
    description_ = String(StringRef(value));
  });
}
HRESULT ExceptionHandler::raw_TakeError(LONG, BSTR Source, BSTR Description) noexcept {
  return answer([&] {
    source_ = String(StringRef(Source));
    description_ = String(StringRef(Description));
  });
}

HRESULT ExceptionHandler::raw_Report(VARIANT_BOOL RaiseError, LONG Level, LONG Number,
                                     BSTR ProcedureName) noexcept {
  HRESULT raised = S_OK;
  const HRESULT reported = answer([&] {
    const String procedure{StringRef(ProcedureName)};
    const String source = std::move(source_);
    const String description = std::move(description_);
    writeLog({component_, className_, procedure,
              Level == 2 ? LogEntry::Level::Warning : LogEntry::Level::Error, Number, source, description});
    if (RaiseError != VARIANT_FALSE) raised = Error(Number, procedure, description).publish();
  });
  return FAILED(reported) ? reported : raised;
}

HRESULT ProcessTrace::raw_ClassTrace(BSTR LibraryName, BSTR ClassName, VARIANT* result) noexcept {
  return answer(result, [&] {
    return Variant(asDispatch(make<ClassTrace>(StringRef(LibraryName), StringRef(ClassName))));
  });
}

}  // namespace CorvaneQueue::platform_layer
