// Dates as text, in English.
#pragma once

#include <string>

namespace CorvaneQueue::conversion {

// From the year 100 to 9999. Throws 6 otherwise.
double checkedDate(double date);
// "12/31/1999 11:59:59 PM"; the day or the time alone where the other is nothing.
std::string dateText(double date);
// month/day/year, year-month-day, a month by name; a time with or without AM, PM. Throws 13.
double dateIn(std::string text);

}  // namespace CorvaneQueue::conversion
