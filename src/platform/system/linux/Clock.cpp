#include "Clock.h"

namespace CorvaneQueue::platform_layer {

TimeZone timeZone() {
  ::tzset();
  TimeZone zone;
  zone.bias = static_cast<std::int32_t>(::timezone / 60);
  if (::daylight == 0) return zone;
  zone.season =
      localTime(std::time(nullptr)).tm_isdst > 0 ? TimeZone::Season::Daylight : TimeZone::Season::Standard;
  return zone;
}

std::tm localTime(std::time_t moment) {
  std::tm local{};
  ::localtime_r(&moment, &local);
  return local;
}

}  // namespace CorvaneQueue::platform_layer
