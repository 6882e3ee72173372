#include "Dates.h"

#include <chrono>
#include <cmath>
#include <cstdio>

namespace CorvaneQueue {

namespace {
using std::chrono::sys_days;
using std::chrono::year_month_day;
constexpr sys_days dayZero = std::chrono::year(1899) / 12 / 30;
constexpr int secondsInDay = 86400;
}  // namespace

std::int64_t dayNumber(int year, int month, int day) noexcept {
  const year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                            std::chrono::day(static_cast<unsigned>(day))};
  return (sys_days(date) - dayZero).count();
}

Civil civilOf(std::int64_t days) noexcept {
  const year_month_day date(dayZero + std::chrono::days(days));
  return {static_cast<int>(date.year()), static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day()))};
}

Moment momentOf(Date date) noexcept {
  double day = std::trunc(date.value);
  auto second = static_cast<int>(std::nearbyint(std::fabs(date.value - day) * secondsInDay));
  if (second >= secondsInDay) {
    second -= secondsInDay;
    day += 1;
  }
  return {static_cast<std::int64_t>(day), second};
}

Date dateOf(Moment moment) noexcept {
  const auto day = static_cast<double>(moment.day);
  const double fraction = static_cast<double>(moment.second) / secondsInDay;
  return {moment.day < 0 ? day - fraction : day + fraction};
}

Date addMinutes(Date date, std::int64_t minutes) noexcept {
  if (minutes == 0) return date;
  const Moment moment = momentOf(date);
  const std::int64_t total = moment.day * secondsInDay + moment.second + minutes * 60;
  std::int64_t day = total / secondsInDay;
  std::int64_t second = total % secondsInDay;
  if (second < 0) {
    second += secondsInDay;
    --day;
  }
  return dateOf({day, static_cast<int>(second)});
}

std::string utcCalendarText(std::int64_t time) {
  using namespace std::chrono;
  const sys_seconds moment{seconds(time)};
  const year_month_day date(floor<days>(moment));
  const hh_mm_ss clock(moment - floor<days>(moment));
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

}  // namespace CorvaneQueue
