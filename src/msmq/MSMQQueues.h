// The list of queues of the Message Queuing store.
#pragma once

#include "IQueues.h"

namespace CorvaneQueue {

// Throws 0x80004001: this version has the database store only.
Ref<IQueues> createMSMQQueues();

}  // namespace CorvaneQueue
