#include "ThreadSlot.h"

#include <windows.h>
#include <new>

namespace CorvaneQueue {

bool isProcessEnding() noexcept {
  using Asked = BOOLEAN(NTAPI*)();
  static const auto ask = reinterpret_cast<Asked>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"ntdll"), "RtlDllShutdownInProgress")));
  return ask != nullptr && ask() != 0;
}

ThreadSlot::ThreadSlot(Ended ended) : key_(::FlsAlloc(ended)) {
  if (key_ == FLS_OUT_OF_INDEXES) throw std::bad_alloc();
}
// The system would call for each address that is set: this thread's, as there are no others any more.
ThreadSlot::~ThreadSlot() {
  ::FlsSetValue(key_, nullptr);
  ::FlsFree(key_);
}
void* ThreadSlot::get() const noexcept { return ::FlsGetValue(key_); }
bool ThreadSlot::set(void* address) const noexcept { return ::FlsSetValue(key_, address) != 0; }

}  // namespace CorvaneQueue
