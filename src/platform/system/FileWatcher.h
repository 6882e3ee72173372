// How a thread that sleeps hears of changes to files, and of time.
#pragma once

#include "File.h"

#include <functional>
#include <optional>

namespace CorvaneQueue::platform_layer {

// Watches files of one directory for changes of their content and for their end. A user may have a limited
// number of watchers.
class FileWatcher {
 public:
  // Whether it could be opened.
  bool open(const std::filesystem::path& directory) noexcept;
  void close() noexcept;
  bool isOpen() const noexcept { return native_ != noNative; }
  // What pump() of an apartment waits for.
  Native native() const noexcept { return native_; }
  ~FileWatcher() { close(); }
  FileWatcher() noexcept = default;
  FileWatcher(const FileWatcher&) = delete;
  FileWatcher& operator=(const FileWatcher&) = delete;

  // Tells those who watch a file that is open to be written. Throws an Error.
  static void tell(const File& file);

  // The number of the watch, or nothing when the file cannot be watched.
  std::optional<int> watch(const std::filesystem::path& file) noexcept;

  struct Change {
    std::optional<int> watch;  // nothing: changes have been lost, of whatever file
    bool isOver = false;       // the file is not watched any more
  };
  // Those since the last call.
  void take(const std::function<void(Change)>& taker);
  // Waits for a change. Without an open watcher for the time alone. Throws an Error.
  void wait(std::chrono::nanoseconds longest) const;

 private:
  Native native_ = noNative;
};

// Wakes the pump of an apartment after a time.
class WakeTimer {
 public:
  // Throws an Error.
  void open();
  bool isOpen() const noexcept { return native_ != noNative; }
  Native native() const noexcept { return native_; }
  void set(std::chrono::nanoseconds time) noexcept;
  // It has rung.
  void take() noexcept;
  ~WakeTimer();
  WakeTimer() noexcept = default;
  WakeTimer(const WakeTimer&) = delete;
  WakeTimer& operator=(const WakeTimer&) = delete;

 private:
  Native native_ = noNative;
};

}  // namespace CorvaneQueue::platform_layer
