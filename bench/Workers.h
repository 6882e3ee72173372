// Processes that work side by side, and what their work costs.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace workers {

// One piece of work of a process; false when there is nothing to do at the moment.
using Step = std::function<bool()>;
// Makes the step of a process, inside it: what it opens is its own.
using Start = std::function<Step()>;

// Runs work in a process of its own, so that whatever it opens does not lie in those that are forked later.
void apart(const std::function<void()>& work);

struct Cost {
  double rate = 0;         // pieces of work a second, of all counted processes together
  double user = 0;         // microseconds of processor time a piece of work, of all processes
  double kernel = 0;       // the same inside the system
  double longestWait = 0;  // seconds of a single piece of work
};
// Runs the counted processes, and those that only feed them, until the time has passed.
Cost run(const std::vector<Start>& counted, const std::vector<Start>& feeding, double seconds);

// System calls of a piece of work of the first counted process, while the others work.
double systemCalls(const std::vector<Start>& counted, const std::vector<Start>& feeding);

}  // namespace workers
