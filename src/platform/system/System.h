// Operating systems.
#pragma once

namespace CorvaneQueue::platform_layer {

// Their numbers stand in files.
enum class System { Linux, Windows };

}  // namespace CorvaneQueue::platform_layer
