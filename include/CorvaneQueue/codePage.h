// Which texts the Message Queuing store keeps.
#pragma once

#include <CorvaneQueue/automation.h>
#include <cstddef>
#include <optional>
#include <string_view>

namespace CorvaneQueue {

// Where the first character stands that the code page of the installation does not have (counted in 16-bit
// units from 0): the Message Queuing store keeps "?" in its place, unless the queue compresses its messages.
// Nothing when it has them all, as UTF-8 always does. Throws an Error for settings that cannot be read.
CORVANE_API std::optional<std::size_t> firstOutsideCodePage(std::u16string_view text);

}  // namespace CorvaneQueue
