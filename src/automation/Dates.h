// Calendar arithmetic on automation dates.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <cstdint>
#include <string>

namespace CorvaneQueue {

struct Civil {
  int year, month, day;
};
// Days since 1899-12-30 of a date of the proleptic Gregorian calendar, and back.
std::int64_t dayNumber(int year, int month, int day) noexcept;
Civil civilOf(std::int64_t day) noexcept;

// A date-time to the whole second: the day, and seconds since its midnight. The fraction of a Date
// counts away from midnight on negative days too.
struct Moment {
  std::int64_t day;
  int second;
};
Moment momentOf(Date date) noexcept;
Date dateOf(Moment moment) noexcept;
Date addMinutes(Date date, std::int64_t minutes) noexcept;

// Seconds since 1970 in UTC as "YYYY-MM-DD HH:MM:SS".
std::string utcCalendarText(std::int64_t time);

}  // namespace CorvaneQueue
