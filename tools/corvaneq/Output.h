// What the tool prints: rows on standard output, as text or JSON, and progress on the error stream.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace corvaneq {

// A text in UTF-8, a number or a truth.
using Field = std::variant<std::string, std::int64_t, bool>;
using Row = std::vector<std::pair<const char*, Field>>;

// From now on every row is a JSON object on a line of its own.
void useJson() noexcept;
bool usesJson() noexcept;
// One line: the values with tabs between them, control characters escaped; or a JSON object. Flushed, so
// that what is told has happened. Throws an Error when standard output cannot be written.
void print(const Row& row);
// A row of a name and its value.
void tell(const char* name, Field value);
// An error on the error stream, in the same form: a sentence of the tool, or one of the library with its
// number and source.
void printError(const std::string& description);
void printError(const CorvaneQueue::Error& error);

// A time in UTC as 2026-11-22T23:08:03Z.
std::string utcText(CorvaneQueue::Date time);
// The same of a local time.
std::string utcOfLocal(CorvaneQueue::Date time);

// A line of standard input; the question goes to the error stream.
std::string answerTo(const std::string& question);
// Throws Declined unless the operator says yes to it.
void confirm(const std::string& what);

// A bar on the error stream while work of more than a second goes on, when that is a terminal.
class Progress {
 public:
  explicit Progress(std::size_t total);  // 0 when it is not known
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  // One more is done.
  void step() { at(done_ + 1, total_); }
  // So many are done, of so many.
  void at(std::size_t done, std::size_t total);

 private:
  std::size_t total_;
  std::size_t done_ = 0;
  bool isShown_;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace corvaneq
