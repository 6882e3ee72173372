// What the statements of the embedded stores use beyond the engine's own.
#pragma once

struct sqlite3;

namespace CorvaneQueue::platform_layer {

// The collation QUEUE_NAME: letter case does not count. The function checksum(...): XXH3 over all its
// arguments, in their order. And labelSigns, of summaries. Returns the engine's result.
int addFunctions(sqlite3* handle) noexcept;

}  // namespace CorvaneQueue::platform_layer
