// The commands for many documents at once, over the class Operations. Each throws an Error when it fails, and
// prints its results.
#pragma once

#include "Selection.h"

#include <optional>
#include <string>
#include <vector>

namespace corvaneq {

// How sure the operator is.
struct Doing {
  bool isDryRun = false;     // tells how many there are, and does nothing
  bool isConfirmed = false;  // does not ask
  bool startsAnew = false;   // not where the same work was stopped
};

void statistics(const std::vector<std::string>& queues, bool isWatching);
// Prometheus text format, on standard output or in a file that is replaced as a whole.
void metrics(const std::string& file);
struct FindOptions {
  std::int64_t limit = 0;  // 0 for none
  bool isBackward = false;
  bool isWithBodies = false;
};
void findDocuments(const Selection& selection, const FindOptions& options);
void moveDocuments(const Selection& selection, const std::string& to, const Doing& doing);
void redriveDocuments(const Selection& selection, const Doing& doing);
void copyDocuments(const Selection& selection, const std::string& to, const Doing& doing);
// Waiting ones go into the journal, unless no trace is to be left.
void deleteDocuments(const Selection& selection, bool leavesNoTrace, const Doing& doing);
void exportDocuments(const Selection& selection, const std::string& file, const Doing& doing);
void importDocuments(const std::string& file, const std::string& queue, bool startsAnew);
struct Bounds {
  std::string age;  // "30d", "12h", "15m", "90s"
  std::int32_t count = -1;
  std::int32_t kilobytes = -1;
};
void prune(const std::string& queue, const Bounds& bounds, bool isConfirmed);
// Makes the bounds a standing rule, if there are any, and shows the one there is.
void rule(const std::string& queue, const Bounds& bounds, bool isEnded);
void compact();
struct WorkOptions {
  std::int32_t attempts = 5;
  int pauseSeconds = 1;
  bool isUntilEmpty = false;
};
// Runs the program for each document, which it has on its standard input; its exit code 0 acknowledges.
void work(const std::string& queue, const std::vector<std::string>& command, const WorkOptions& options);
void backUp(const std::string& directory);
void restore(const std::string& directory, bool isConfirmed);
// Asks for the name of the queue, unless it is given to confirm.
void removeQueue(const std::string& queue, const std::string& confirmed);

}  // namespace corvaneq
