#include "Sessions.h"

#include "Lasting.h"
#include "Process.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

const std::shared_ptr<Sessions>& Sessions::ofProcess() {
  struct Shared {
    std::shared_ptr<Sessions> sessions = std::make_shared<Sessions>();
  };
  static Lasting<Shared> all;
  return all->sessions;
}

bool Sessions::add(const void* session, const std::filesystem::path& file) {
  const std::lock_guard guard(mutex_);
  const int process = processNumber();
  if (std::ranges::any_of(open_, [&](const Open& other) { return other.process != process; })) return false;
  open_.push_back({session, file, process});
  return true;
}

void Sessions::remove(const void* session) noexcept {
  const std::lock_guard guard(mutex_);
  std::erase_if(open_, [&](const Open& entry) { return entry.session == session; });
}

void Sessions::note(const void* session, bool isOpen) noexcept {
  const std::lock_guard guard(mutex_);
  for (Open& entry : open_)
    if (entry.session == session) entry.holder = isOpen ? std::this_thread::get_id() : std::thread::id();
}

bool Sessions::isHeldByThread(const std::filesystem::path& file) {
  const std::lock_guard guard(mutex_);
  return std::ranges::any_of(open_, [&](const Open& entry) {
    return entry.holder == std::this_thread::get_id() && entry.file == file;
  });
}

}  // namespace CorvaneQueue::platform_layer
