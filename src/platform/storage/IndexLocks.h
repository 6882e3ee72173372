// The engine's locks on its shared index.
#pragma once

struct sqlite3;

namespace CorvaneQueue::platform_layer {

// From now on a lock that the system fails to give is an error of the engine's at once. Left alone it takes
// every failure for somebody else's lock, and tries for ten seconds.
void reportFailingLocks(sqlite3* handle) noexcept;

}  // namespace CorvaneQueue::platform_layer
