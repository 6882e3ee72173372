#include "UtcTime.h"

#include "Dates.h"

#include <CorvaneQueue/Error.h>

#include <chrono>
#include <cstdio>

namespace CorvaneQueue {

using namespace std::chrono;

std::int64_t utcTime(std::u16string_view text) {
  int year = 0, hour = 0, minute = 0, second = 0;
  unsigned month = 0, day = 0;
  int end = 0;
  const std::string given = toUtf8(text);
  const auto size = static_cast<int>(given.size());
  const bool isRead =
      (std::sscanf(given.c_str(), "%4d-%2u-%2uT%2d:%2d:%2dZ%n", &year, &month, &day, &hour, &minute, &second,
                   &end) == 6 &&
       end == size) ||
      (hour = minute = second = end = 0,
       std::sscanf(given.c_str(), "%4d-%2u-%2u%n", &year, &month, &day, &end) == 3 && end == size);
  const year_month_day date{std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
  if (!isRead || !date.ok() || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 ||
      second > 59)
    throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Filter",
                u"\"" + std::u16string(text) +
                    u"\" is no time: write it in UTC as 2026-11-23T08:15:00Z, or a day as 2026-11-23.");
  return (sys_days(date) + hours(hour) + minutes(minute) + seconds(second)).time_since_epoch() / seconds(1);
}

std::u16string utcText(std::int64_t time) {
  std::string text = utcCalendarText(time) + "Z";
  text[text.find(' ')] = 'T';
  return std::u16string(fromUtf8(text).view());
}

Date utcDate(std::int64_t time) {
  constexpr double dayOf1970 = 25569;
  return {dayOf1970 + static_cast<double>(time) / 86400};
}

}  // namespace CorvaneQueue
