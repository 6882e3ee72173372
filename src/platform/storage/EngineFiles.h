// How the engine works with the files of a store.
#pragma once

namespace CorvaneQueue::platform_layer {

// The name under which the engine finds our way to its files: its own for this system, but that a lock on its
// shared index which the system fails to give is an error at once. Left alone the engine takes every failure
// for somebody else's lock, and tries for ten seconds.
const char* engineFiles();

}  // namespace CorvaneQueue::platform_layer
