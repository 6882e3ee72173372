#include "ErrorReporting.h"

#include "Files.h"
#include "Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <chrono>
#include <cstdio>

namespace CorvaneQueue::platform_layer {

namespace {

class ClassTrace final : public Object<ClassTrace, DispatchForm<_ClassTrace>> {
 public:
  ClassTrace(StringRef library, StringRef className)
      : handler_(make<ExceptionHandler>(String(library), String(className))) {}
  HRESULT STDMETHODCALLTYPE get_ExceptionHandler(_ExceptionHandler** result) noexcept final {
    return answer(result, [&] { return handler_; });
  }

 private:
  Ref<ExceptionHandler> handler_;
};

std::string timeStamp() {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date(day);
  const hh_mm_ss time(now - day);
  char buffer[96];
  std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
  return buffer;
}

// A text in double quotes, on one line.
std::string quotedLine(std::u16string_view text) {
  std::string line = "\"";
  for (const char c : toUtf8(text)) {
    if (c == '"' || c == '\\') line += '\\';
    const auto byte = static_cast<unsigned char>(c);
    line += byte < 0x20 || byte == 0x7F ? ' ' : c;
  }
  return line + '"';
}

// One whole line for each report: a single appending write, so that many processes can share the file.
void record(const std::string& line) {
  const std::filesystem::path directory = installationDirectory() / "log";
  ::mkdir(directory.c_str(), 0700);
  const FileDescriptor file(directory / "corvane.log", O_WRONLY | O_APPEND | O_CREAT);
  if (::write(file.get(), line.data(), line.size()) < 0) return;  // nowhere left to tell it
}

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
  return answer([&] {
    const String procedure{StringRef(ProcedureName)};
    const String source = std::move(source_);
    const String description = std::move(description_);
    try {
      char number[32];
      std::snprintf(number, sizeof number, Number < 0 ? "0x%08X" : "%d", static_cast<unsigned>(Number));
      record(timeStamp() + " " + std::to_string(::getpid()) + " " + toUtf8(component_) + "." +
             toUtf8(className_) + " " + quotedLine(procedure) + " " + (Level == 2 ? "warning" : "error") +
             " " + number + " " + quotedLine(source) + " " + quotedLine(description) + "\n");
    } catch (const std::exception&) {  // a log that cannot be written must not hide the error itself
    }
    if (RaiseError != VARIANT_FALSE) throw Error(Number, procedure, description);
  });
}

HRESULT ProcessTrace::raw_ClassTrace(BSTR LibraryName, BSTR ClassName, VARIANT* result) noexcept {
  return answer(result, [&] {
    return Variant(asDispatch(make<ClassTrace>(StringRef(LibraryName), StringRef(ClassName))));
  });
}

}  // namespace CorvaneQueue::platform_layer
