// Query texts made ready for the embedded engine.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace CorvaneQueue::platform_layer {

// A query with each string literal lifted out and a parameter in its place, so that one prepared
// statement serves every value, and a value may hold any character.
struct LiftedQuery {
  std::string sql;
  std::vector<std::string> literals;  // in stored form, in order
};
LiftedQuery liftLiterals(std::u16string_view text);

}  // namespace CorvaneQueue::platform_layer
