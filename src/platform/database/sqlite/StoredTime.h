// Times as the message store keeps them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace CorvaneQueue::platform_layer {

// Seconds since 1970 as "YYYY-MM-DD HH:MM:SS" in UTC, and back; nothing for no time.
std::string storedTime(std::int64_t time);
std::optional<std::int64_t> timeIn(std::string_view text);

}  // namespace CorvaneQueue::platform_layer
