// How the system names what it keeps for a thread.
#pragma once

#include <cstdint>

namespace CorvaneQueue {

using ThreadKey = std::uint32_t;
using ThreadKeyEnded = void(__stdcall*)(void*);

}  // namespace CorvaneQueue
