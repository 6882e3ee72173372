// Queues of the embedded service with messages in them.
#pragma once

#include "Queuing.h"

#include <cstdlib>

namespace measure {

using namespace queuing;

inline void fill(const char16_t* path, int count, std::size_t bodySize) {
  const auto queue = open(path, MQ_SEND_ACCESS);
  const std::string body(bodySize, 'x');
  for (int sent = 0; sent < count;) {
    const auto work = begin();
    for (int i = 0; i < 5000 && sent < count; ++i, ++sent) send(queue, body, work);
    commit(work);
  }
}

// Until the store's log has its lasting size: from then on it is written over, as the bare disk's file is.
inline void warmUp(const char16_t* path) {
  fill(path, 8000, 1024);
  const auto receiver = open(path, MQ_RECEIVE_ACCESS);
  const auto work = begin();
  while (receive(receiver, work)) {
  }
  commit(work);
}

// Receives and commits one message; false when there is none.
inline bool takeOne(const Ref<IMSMQQueue>& receiver, std::size_t bodySize) {
  const auto work = begin();
  const auto message = receive(receiver, work);
  if (!message) return false;
  if (bodyOf(message).size() != bodySize) std::exit(1);
  commit(work);
  return true;
}

}  // namespace measure
