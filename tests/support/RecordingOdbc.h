// A driver in place of a database server's: it notes what it is asked, and answers as a test has prepared.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

// The answer to the next statement that has `to` in it; all others are done, without rows and outputs.
struct OdbcAnswer {
  std::string to;
  std::string columns{};  // 'n' for a number, 't' for a time, 's' for a text
  std::vector<std::vector<std::string>> rows{};
  std::int64_t output = 0;  // of the last output parameter
  // A failure, when there is a state.
  std::string state{};
  std::int32_t native = 0;
  std::string text{};
  bool isConnectionLost = false;
};

struct RecordedOdbc {
  std::string transcript;
  std::deque<OdbcAnswer> answers;
  int refusedConnections = 0;  // the next ones
  int handles = 0;             // there are
};
// The driver's one, by this name.
extern "C" RecordedOdbc* recordedOdbc();
