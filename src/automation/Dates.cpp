#include "Dates.h"

#include <cmath>

namespace CorvaneQueue {

namespace {
constexpr int secondsInDay = 86400;
}

std::int64_t dayNumber(int year, int month, int day) noexcept {
  const int y = year - (month <= 2 ? 1 : 0);
  const int era = (y >= 0 ? y : y - 399) / 400;
  const int yearOfEra = y - era * 400;
  const int dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return std::int64_t{era} * 146097 + dayOfEra - 719468 + 25569;
}

Civil civilOf(std::int64_t days) noexcept {
  const std::int64_t z = days - 25569 + 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const auto dayOfEra = static_cast<int>(z - era * 146097);
  const int yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int shifted = (5 * dayOfYear + 2) / 153;
  const int month = shifted + (shifted < 10 ? 3 : -9);
  return {static_cast<int>(yearOfEra + era * 400) + (month <= 2 ? 1 : 0), month,
          dayOfYear - (153 * shifted + 2) / 5 + 1};
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

}  // namespace CorvaneQueue
