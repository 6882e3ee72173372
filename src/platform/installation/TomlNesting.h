// How deep a settings file nests, found out before it is parsed: the parser and its tables call themselves
// for each name, and a file that nests without end would take the whole stack.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace CorvaneQueue::platform_layer {

// The first line, from 1, on which a header or a key with its value nests deeper; nothing when none does.
// What nests are the dots between names and the brackets of lists and tables, outside of texts and comments.
std::optional<std::size_t> lineNestedDeeper(std::string_view content, std::size_t depth);

}  // namespace CorvaneQueue::platform_layer
