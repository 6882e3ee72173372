// Expectations on errors and texts.
#pragma once

#include <CorvaneQueue/Error.h>
#include <gtest/gtest.h>
#include <functional>
#include <optional>
#include <ostream>

namespace CorvaneQueue {
inline void PrintTo(const String& text, std::ostream* stream) { *stream << '"' << toUtf8(text) << '"'; }
}  // namespace CorvaneQueue

template <class Body>
std::optional<CorvaneQueue::Error> errorOf(Body&& body) {
  try {
    body();
  } catch (const CorvaneQueue::Error& error) {
    return error;
  }
  return std::nullopt;
}

// The number of the error that the body fails with, 0 when it does not.
template <class Body>
std::int32_t errorNumber(Body&& body) {
  const auto error = errorOf(std::forward<Body>(body));
  return error ? error->number() : 0;
}

// The body fails with this number and source, and says `part` somewhere in the description.
template <class Body>
void expectError(std::int32_t number, const char16_t* source, const std::string& part, Body&& body) {
  const auto error = errorOf(std::forward<Body>(body));
  ASSERT_TRUE(error.has_value()) << "no error";
  EXPECT_EQ(error->number(), number) << error->what();
  if (source != nullptr) {
    EXPECT_EQ(error->source(), source);
  }
  EXPECT_NE(std::string(error->what()).find(part), std::string::npos) << error->what();
}
