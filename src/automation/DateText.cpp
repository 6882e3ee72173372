#include "DateText.h"

#include "ConversionText.h"
#include "Dates.h"

#include <chrono>
#include <cstdio>
#include <utility>

namespace CorvaneQueue::conversion {

namespace {

constexpr double smallestDate = -657434.0;  // 0100-01-01
constexpr double dateEnd = 2958466.0;       // 10000-01-01
class DateReader {
 public:
  explicit DateReader(std::string text) : text_(upperCased(std::move(text))) {}

  double read() {
    while (skipSeparators(), at_ < text_.size()) {
      if (isDigit(text_[at_]))
        readNumber();
      else
        readWord();
    }
    const int second = timeOfDay();
    if (dateParts_ == 0 && month_ == 0) {
      if (!hasTime_) mismatch();
      return second / 86400.0;
    }
    return dateOf({day(), second}).value;
  }

 private:
  void skipSeparators() {
    while (at_ < text_.size() && (isBlank(text_[at_]) || text_[at_] == '/' || text_[at_] == '-' ||
                                  text_[at_] == ',' || text_[at_] == 'T'))
      ++at_;
  }
  int digits() {
    const std::size_t start = at_;
    int value = 0;
    while (at_ < text_.size() && isDigit(text_[at_]) && at_ - start < 5)
      value = value * 10 + (text_[at_++] - '0');
    if (at_ == start || (at_ < text_.size() && isDigit(text_[at_]))) mismatch();
    lastWidth_ = at_ - start;
    return value;
  }
  void readNumber() {
    const int value = digits();
    if (at_ < text_.size() && text_[at_] == ':') {
      if (hasTime_) mismatch();
      hasTime_ = true;
      hour_ = value;
      ++at_;
      minute_ = digits();
      if (at_ < text_.size() && text_[at_] == ':') {
        ++at_;
        second_ = digits();
      }
      return;
    }
    if (dateParts_ == 3) mismatch();
    widths_[dateParts_] = lastWidth_;
    parts_[dateParts_++] = value;
  }
  void readWord() {
    std::string word;
    while (at_ < text_.size() && text_[at_] >= 'A' && text_[at_] <= 'Z') word += text_[at_++];
    if (word.size() < 2) mismatch();
    if ((word == "AM" || word == "PM") && hasTime_ && half_ == 0) {
      half_ = word == "AM" ? 1 : 2;
      return;
    }
    constexpr const char* months[] = {"JANUARY", "FEBRUARY", "MARCH",     "APRIL",   "MAY",      "JUNE",
                                      "JULY",    "AUGUST",   "SEPTEMBER", "OCTOBER", "NOVEMBER", "DECEMBER"};
    for (int i = 0; i < 12 && month_ == 0; ++i)
      if (word.size() >= 3 && std::string(months[i]).starts_with(word)) {
        month_ = i + 1;
        return;
      }
    mismatch();
  }
  int timeOfDay() {
    if (half_ != 0) {
      if (hour_ < 1 || hour_ > 12) mismatch();
      hour_ = hour_ % 12 + (half_ == 2 ? 12 : 0);
    }
    if (hour_ > 23 || minute_ > 59 || second_ > 59) mismatch();
    return hour_ * 3600 + minute_ * 60 + second_;
  }
  std::int64_t day() {
    int year = 0;
    int month = month_;
    int day = 0;
    std::size_t yearWidth = 0;
    if (month_ != 0) {
      if (dateParts_ != 2) mismatch();
      const std::size_t yearAt = widths_[0] > 2 ? 0 : 1;
      year = parts_[yearAt];
      yearWidth = widths_[yearAt];
      day = parts_[1 - yearAt];
    } else {
      if (dateParts_ != 3) mismatch();
      const bool yearFirst = widths_[0] > 2;
      year = parts_[yearFirst ? 0 : 2];
      yearWidth = widths_[yearFirst ? 0 : 2];
      month = parts_[yearFirst ? 1 : 0];
      day = parts_[yearFirst ? 2 : 1];
      if (!yearFirst && month > 12 && day <= 12) std::swap(month, day);
    }
    if (yearWidth <= 2) year += year < 30 ? 2000 : 1900;
    using namespace std::chrono;
    const year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                              std::chrono::day(static_cast<unsigned>(day))};
    if (year < 100 || year > 9999 || !date.ok()) mismatch();
    return dayNumber(year, month, day);
  }

  std::string text_;
  std::size_t at_ = 0;
  std::size_t lastWidth_ = 0;
  int parts_[3] = {};
  std::size_t widths_[3] = {};
  std::size_t dateParts_ = 0;
  int month_ = 0;
  bool hasTime_ = false;
  int hour_ = 0;
  int minute_ = 0;
  int second_ = 0;
  int half_ = 0;  // 1 AM, 2 PM
};

}  // namespace

double checkedDate(double value) {
  if (!(value > smallestDate - 1 && value < dateEnd)) overflow();
  return value;
}

std::string dateText(double date) {
  const Moment moment = momentOf({checkedDate(date)});
  char buffer[64];
  std::string text;
  if (moment.day != 0 || moment.second == 0) {
    const Civil civil = civilOf(moment.day);
    if (moment.day != 0) {
      std::snprintf(buffer, sizeof buffer, "%d/%d/%04d", civil.month, civil.day, civil.year);
      text = buffer;
    }
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

double dateIn(std::string text) { return DateReader(std::move(text)).read(); }

}  // namespace CorvaneQueue::conversion
