// Times as texts in UTC.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace CorvaneQueue {

// "2026-11-23T08:15:00Z" as seconds since 1970; also a day alone. Throws 5 for anything else.
std::int64_t utcTime(std::u16string_view text);
std::u16string utcText(std::int64_t time);
// In UTC.
Date utcDate(std::int64_t time);

}  // namespace CorvaneQueue
