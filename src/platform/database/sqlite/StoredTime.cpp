#include "StoredTime.h"

#include "Dates.h"

#include <chrono>

namespace CorvaneQueue::platform_layer {

std::optional<std::int64_t> timeIn(std::string_view text) {
  constexpr std::string_view form = "0000-00-00 00:00:00";
  if (text.size() < form.size()) return std::nullopt;
  for (std::size_t i = 0; i < form.size(); ++i)
    if (form[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != form[i]) return std::nullopt;
  const auto number = [&](std::size_t at, std::size_t digits) {
    int value = 0;
    for (const char digit : text.substr(at, digits)) value = value * 10 + (digit - '0');
    return value;
  };
  using namespace std::chrono;
  const sys_days date = year(number(0, 4)) / month(static_cast<unsigned>(number(5, 2))) /
                        day(static_cast<unsigned>(number(8, 2)));
  return (date + hours(number(11, 2)) + minutes(number(14, 2)) + seconds(number(17, 2))).time_since_epoch() /
         seconds(1);
}

std::string storedTime(std::int64_t time) { return utcCalendarText(time); }

}  // namespace CorvaneQueue::platform_layer
