#include "DateText.h"

#include "ConversionText.h"
#include "Dates.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <optional>

namespace CorvaneQueue::conversion {

namespace {

constexpr double smallestDate = -657434;  // 0100-01-01
constexpr double dateEnd = 2958466;       // 10000-01-01

using Day = std::optional<std::int64_t>;

// Years below 100 are those from 1950 to 2049.
Day dayOf(int year, int month, int day) {
  using namespace std::chrono;
  if (year < 100) year += year < 50 ? 2000 : 1900;
  if (year > 9999 || month > 12 || day > 31) return std::nullopt;
  const year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                            std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  return dayNumber(year, month, day);
}

int thisYear() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return local.tm_year + 1900;
}

std::int64_t firstOf(std::initializer_list<Day> orders) {
  for (const Day& day : orders)
    if (day) return *day;
  mismatch();
}

class DateReader {
 public:
  explicit DateReader(const std::string& text) : text_(text) {}

  double read() {
    skipBlanks();
    char separator = ' ';
    bool wasDay = false;
    do {
      const bool isDay = readPart();
      if ((separator == '/' || separator == '-') && !(wasDay && isDay)) mismatch();
      if (isDay && !wasDay && count_ > 1) mismatch();  // a time within the day
      separator = takeOneOf("/-,");
      wasDay = isDay;
    } while (at_ < text_.size());
    if (separator != ' ') mismatch();
    return dateOf({count_ == 0 ? 0 : day(), second_.value_or(0)}).value;
  }

 private:
  struct Part {
    int value;
    bool isName;
  };

  void skipBlanks() {
    while (at_ < text_.size() && text_[at_] == ' ') ++at_;
  }
  // Takes one of these characters with the blanks around it. A space when none is there.
  char takeOneOf(std::string_view characters) {
    skipBlanks();
    if (at_ == text_.size() || characters.find(text_[at_]) == std::string_view::npos) return ' ';
    const char taken = text_[at_++];
    skipBlanks();
    return taken;
  }
  int number() {
    constexpr int beyondAnyPart = 100000;
    if (at_ == text_.size() || !isDigit(text_[at_])) mismatch();
    int value = 0;
    for (; at_ < text_.size() && isDigit(text_[at_]); ++at_)
      value = std::min(value * 10 + (text_[at_] - '0'), beyondAnyPart);
    return value;
  }
  std::string word() {
    const std::size_t start = at_;
    while (at_ < text_.size() && isLetter(text_[at_])) ++at_;
    return text_.substr(start, at_ - start);
  }
  int monthName() {
    constexpr const char* months[] = {"JANUARY", "FEBRUARY", "MARCH",     "APRIL",   "MAY",      "JUNE",
                                      "JULY",    "AUGUST",   "SEPTEMBER", "OCTOBER", "NOVEMBER", "DECEMBER"};
    const std::string name = word();
    for (int i = 0; i < 12; ++i)
      if (name == months[i] || name == std::string_view(months[i]).substr(0, 3)) return i + 1;
    mismatch();
  }
  // Reads a part of the day, or the whole time. Whether it was of the day.
  bool readPart() {
    const bool isName = at_ == text_.size() || !isDigit(text_[at_]);
    const int value = isName ? monthName() : number();
    if (!isName && readTime(value)) return false;
    if (count_ == parts_.size()) mismatch();
    parts_[count_++] = {value, isName};
    return true;
  }
  // What follows the first number of a time, which minutes or AM and PM tell from one of a day.
  bool readTime(int hour) {
    std::array<int, 3> parts = {hour};
    std::size_t count = 1;
    while (count < parts.size() && takeOneOf(":.") != ' ') parts[count++] = number();
    skipBlanks();
    const std::size_t end = at_;
    const std::string half = word();
    const bool isHalf = half == "AM" || half == "PM" || half == "A" || half == "P";
    if (!isHalf) at_ = end;
    if (count == 1 && !isHalf) return false;
    if (second_ || hour > 23 || parts[1] > 59 || parts[2] > 59) mismatch();
    if (isHalf && half[0] == 'P' && hour < 12) hour += 12;
    if (isHalf && half[0] == 'A' && hour == 12) hour = 0;
    second_ = hour * 3600 + parts[1] * 60 + parts[2];
    return true;
  }
  std::int64_t day() const {
    const auto isName = [](const Part& part) { return part.isName; };
    const auto* const end = parts_.begin() + count_;
    const auto* const name = std::find_if(parts_.begin(), end, isName);
    const bool isShort = count_ == 2;
    if (count_ < 2 || std::count_if(parts_.begin(), end, isName) > 1) mismatch();
    if (name != end) {
      const int month = name->value;
      const int first = parts_[name == parts_.begin() ? 1 : 0].value;
      const int last = parts_[name == end - 1 ? count_ - 2 : count_ - 1].value;
      if (isShort) return firstOf({dayOf(thisYear(), month, first), dayOf(first, month, 1)});
      return firstOf({dayOf(last, month, first), dayOf(first, month, last)});
    }
    const int a = parts_[0].value;
    const int b = parts_[1].value;
    const int c = parts_[2].value;
    if (isShort)
      return firstOf({dayOf(thisYear(), a, b), dayOf(thisYear(), b, a), dayOf(b, a, 1), dayOf(a, b, 1)});
    return firstOf({dayOf(c, a, b), dayOf(a, b, c), dayOf(c, b, a), dayOf(a, c, b)});
  }

  const std::string& text_;
  std::size_t at_ = 0;
  std::array<Part, 3> parts_{};  // of the day
  std::size_t count_ = 0;
  std::optional<int> second_;  // since midnight
};

}  // namespace

bool isDate(double date) { return date > smallestDate - 1 && date < dateEnd; }

std::string dateText(double date) {
  const Moment moment = momentOf({isDate(date) ? date : dateEnd});
  if (static_cast<double>(moment.day) >= dateEnd) throw Failure{E_INVALIDARG};
  char buffer[64];
  std::string text;
  if (moment.day != 0) {
    const Civil civil = civilOf(moment.day);
    std::snprintf(buffer, sizeof buffer, "%d/%d/%d", civil.month, civil.day, civil.year);
    text = buffer;
  }
  if (moment.second != 0 || moment.day == 0) {
    const int hour = moment.second / 3600;
    std::snprintf(buffer, sizeof buffer, "%s%d:%02d:%02d %s", text.empty() ? "" : " ",
                  hour % 12 == 0 ? 12 : hour % 12, moment.second / 60 % 60, moment.second % 60,
                  hour < 12 ? "AM" : "PM");
    text += buffer;
  }
  return text;
}

double dateIn(const std::string& text) { return DateReader(text).read(); }

}  // namespace CorvaneQueue::conversion
