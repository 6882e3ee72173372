// Whether the store in use is sound.
#pragma once

#include <CorvaneQueue/String.h>

#include <cstdint>
#include <vector>

namespace CorvaneQueue {

struct StoreReport {
  String file;                   // of the store
  bool isThere = false;          // it is made with the first document or queue
  std::int64_t logBytes = 0;     // of the file beside it, which holds what has not found its place yet
  std::int64_t unchecked = 0;    // documents that were stored before documents had checksums
  std::int64_t documents = 0;    // waiting and acknowledged; a thorough check alone counts them
  std::vector<String> findings;  // a sentence for everything that is wrong
};

enum class StoreCheck {
  Quick,     // what is known already
  Thorough,  // reads all of the store
};

// Looks at the store that the setting QueueStoreType names. Disturbs nobody, and makes no file. Call it in
// any thread. Throws an Error when the store cannot be read at all.
CORVANE_API StoreReport checkStore(StoreCheck how);

}  // namespace CorvaneQueue
