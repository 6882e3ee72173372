// The open sessions of this process with embedded stores.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace CorvaneQueue::platform_layer {

class Sessions {
 public:
  static const std::shared_ptr<Sessions>& ofProcess();

  // False in a process that was forked off one with a session open. The engine's account of its locks is
  // copied by a fork, the locks are not: a session opened beside an inherited one could damage the store.
  bool add(const void* session, const std::filesystem::path& file);
  void remove(const void* session) noexcept;
  // A client keeps a transaction of the session open.
  void note(const void* session, bool isOpen) noexcept;
  // Whether another session of this thread keeps one open with the file.
  bool isHeldByThread(const std::filesystem::path& file);

 private:
  struct Open {
    const void* session;
    std::filesystem::path file;
    int process;
    std::thread::id holder{};  // of an open transaction, else nobody
  };
  std::mutex mutex_;
  std::vector<Open> open_;
};

}  // namespace CorvaneQueue::platform_layer
