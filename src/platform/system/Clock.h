// The time of day where this machine is.
#pragma once

#include <cstdint>
#include <ctime>

namespace CorvaneQueue::platform_layer {

struct TimeZone {
  enum class Season { Unknown, Standard, Daylight };
  std::int32_t bias = 0;  // minutes that are added to local standard time to make it UTC
  Season season = Season::Unknown;
};
TimeZone timeZone();

// Seconds since 1970 as a local date and time.
std::tm localTime(std::time_t moment);

}  // namespace CorvaneQueue::platform_layer
