// The queue of the Message Queuing store.
#pragma once

#include "IQueue.h"

namespace CorvaneQueue {

// Throws 0x80004001: this version has the database store only.
Ref<IQueue> createMSMQQueue();

}  // namespace CorvaneQueue
