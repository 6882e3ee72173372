#include "Log.h"

#include "Files.h"
#include "Lasting.h"
#include "Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <chrono>
#include <cstdio>
#include <mutex>

namespace CorvaneQueue::platform_layer {

namespace {

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

// The file, open as long as it is the one of its name: an operator may move it away.
class OpenLog {
 public:
  void append(const std::filesystem::path& name, std::string_view line) {
    // Nobody waits for another thread here: in a process that was forked off, that one may be missing.
    const std::unique_lock guard(mutex_, std::try_to_lock);
    if (!guard) return write(opened(name), line);
    struct stat now {};
    if (file_.get() < 0 || ::stat(name.c_str(), &now) != 0 || now.st_ino != status_.st_ino ||
        now.st_dev != status_.st_dev) {
      file_ = opened(name);
      if (::fstat(file_.get(), &status_) != 0) status_ = {};
    }
    write(file_, line);
  }

 private:
  static FileDescriptor opened(const std::filesystem::path& name) {
    makeDirectory(name.parent_path());
    return FileDescriptor(name, O_WRONLY | O_APPEND | O_CREAT);
  }
  static void write(const FileDescriptor& file, std::string_view line) {
    static_cast<void>(::write(file.get(), line.data(), line.size()) < 0);  // nowhere left to tell it
  }

  std::mutex mutex_;
  FileDescriptor file_;
  struct stat status_ {};
};

}  // namespace

void writeLog(const LogEntry& entry) noexcept {
  try {
    char number[32];
    std::snprintf(number, sizeof number, entry.number < 0 ? "0x%08X" : "%d",
                  static_cast<unsigned>(entry.number));
    const std::string line = timeStamp() + " " + std::to_string(::getpid()) + " " + toUtf8(entry.component) +
                             "." + toUtf8(entry.className) + " " + quotedLine(entry.procedure) + " " +
                             (entry.level == LogEntry::Level::Warning ? "warning" : "error") + " " + number +
                             " " + quotedLine(entry.source) + " " + quotedLine(entry.description) + "\n";
    static Lasting<OpenLog> log;
    log->append(installationDirectory() / "log" / "corvane.log", line);
  } catch (const std::exception&) {
  }
}

void warnInLog(std::u16string_view className, std::u16string_view procedure, std::u16string_view text,
               std::int32_t number) noexcept {
  writeLog({u"CorvanePlatform", className, procedure, LogEntry::Level::Warning, number, {}, text});
}

}  // namespace CorvaneQueue::platform_layer
