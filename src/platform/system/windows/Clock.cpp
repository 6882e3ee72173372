#include "Clock.h"

#include <windows.h>

namespace CorvaneQueue::platform_layer {

TimeZone timeZone() {
  TIME_ZONE_INFORMATION information;
  TimeZone zone;
  const DWORD season = ::GetTimeZoneInformation(&information);
  if (season == TIME_ZONE_ID_INVALID) return zone;
  zone.bias = static_cast<std::int32_t>(information.Bias + information.StandardBias);
  zone.season = season == TIME_ZONE_ID_DAYLIGHT   ? TimeZone::Season::Daylight
                : season == TIME_ZONE_ID_STANDARD ? TimeZone::Season::Standard
                                                  : TimeZone::Season::Unknown;
  return zone;
}

std::tm localTime(std::time_t moment) {
  std::tm local{};
  ::localtime_s(&local, &moment);
  return local;
}

}  // namespace CorvaneQueue::platform_layer
