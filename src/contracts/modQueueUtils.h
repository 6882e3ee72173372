// Small procedures that several classes share.
#pragma once

#include "OperatingSystem.h"

#include <string>

namespace CorvaneQueue::modQueueUtils {

// Every apostrophe doubled, nothing else changed.
std::u16string EscapeSQLQuotes(std::u16string_view text);
// An SQL string literal: escaped, between apostrophes.
std::u16string QuoteSQLString(std::u16string_view text);
// The version record; a failed query leaves everything but the size zero.
OSVersion GetOSVersionInfo();

}  // namespace CorvaneQueue::modQueueUtils
