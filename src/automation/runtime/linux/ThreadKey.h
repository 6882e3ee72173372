// How the system names what it keeps for a thread.
#pragma once

#include <pthread.h>

namespace CorvaneQueue {

using ThreadKey = pthread_key_t;
using ThreadKeyEnded = void (*)(void*);

}  // namespace CorvaneQueue
