// Dates as text, in English.
#pragma once

#include <string>

namespace CorvaneQueue::conversion {

// Whether the date is of the years 100 to 9999.
bool isDate(double date);
// "12/31/1999 11:59:59 PM"; the day or the time alone where the other is nothing. Throws E_INVALIDARG.
std::string dateText(double date);
// A day, a time, or both in either order. A day has two parts or three: numbers, or one of them a month by
// its name or first three letters; without a year it is of this one. Of three numbers the first order that
// makes a date counts: month day year, year month day, day month year, year day month. A time has up to three
// parts and perhaps AM or PM. Throws DISP_E_TYPEMISMATCH.
double dateIn(const std::string& text);

}  // namespace CorvaneQueue::conversion
