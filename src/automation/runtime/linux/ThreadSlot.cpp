#include "ThreadSlot.h"

#include <new>

namespace CorvaneQueue {

bool isProcessEnding() noexcept { return false; }  // no thread ends before the process is gone

ThreadSlot::ThreadSlot(Ended ended) {
  if (pthread_key_create(&key_, ended) != 0) throw std::bad_alloc();
}
ThreadSlot::~ThreadSlot() { pthread_key_delete(key_); }
void* ThreadSlot::get() const noexcept { return pthread_getspecific(key_); }
bool ThreadSlot::set(void* address) const noexcept { return pthread_setspecific(key_, address) == 0; }

}  // namespace CorvaneQueue
