#include "Log.h"

#include "ByteLocks.h"
#include "InstallationDirectory.h"
#include "Lasting.h"
#include "Process.h"
#include "StoredText.h"

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
    // Nowhere is left to tell of a line that cannot be written.
    if (!guard) return static_cast<void>(opened(name).append(line));
    const FileState now = FileState::ifThere(name);
    if (!file_.isOpen() || !now.isSameFile(state_)) {
      file_ = opened(name);
      state_ = file_.state();
    }
    static_cast<void>(file_.append(line));
    if (now.size >= longest) setAside(name);
  }

 private:
  static constexpr std::int64_t longest = 16 << 20;  // bytes, but for the last lines

  // Of all processes that write it one does this; the others write into the older one until they look again.
  void setAside(const std::filesystem::path& name) {
    if (!tryLock(file_, {0, 0}, ByteLock::Exclusive)) return;
    std::filesystem::path older = name;
    if (FileState::ifThere(name).isSameFile(state_)) std::filesystem::rename(name, older += ".1");
    file_ = File();  // and its lock with it
  }
  static File opened(const std::filesystem::path& name) {
    makeDirectory(name.parent_path());
    return {name, File::Use::Append};
  }

  std::mutex mutex_;
  File file_;
  FileState state_;
};

}  // namespace

void writeLog(const LogEntry& entry) noexcept {
  try {
    char number[32];
    std::snprintf(number, sizeof number, entry.number < 0 ? "0x%08X" : "%d",
                  static_cast<unsigned>(entry.number));
    const std::string line = timeStamp() + " " + std::to_string(processNumber()) + " " CORVANE_VERSION " " +
                             toUtf8(entry.component) + "." + toUtf8(entry.className) + " " +
                             quotedLine(entry.procedure) + " " +
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
