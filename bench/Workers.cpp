#include "Workers.h"

#include "Measure.h"

#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <csignal>

namespace workers {

namespace {

constexpr int warmUpSteps = 100;
constexpr int tracedSteps = 300;

void require(bool good, const char* what) {
  if (good) return;
  std::perror(what);
  std::_Exit(1);
}

struct Pipe {
  Pipe() { require(pipe(ends) == 0, "pipe"); }
  ~Pipe() {
    close(ends[0]);
    close(ends[1]);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  int ends[2];
};

double inMicroseconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

struct Usage {
  double user = 0;
  double kernel = 0;
  static Usage now() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return {inMicroseconds(usage.ru_utime), inMicroseconds(usage.ru_stime)};
  }
};

struct Result {
  bool isCounted = false;
  double done = 0;
  double seconds = 0;
  double longestWait = 0;
  Usage usage;
};

void pauseShortly() { usleep(50); }

// Of a process, from its start to its end: sets up, says so, waits for all others, works, tells.
[[noreturn]] void work(const Start& start, const Pipe& ready, const Pipe& go, const Pipe& results,
                       double seconds, bool isCounted) {
  const Step step = start();
  for (int i = 0; i < warmUpSteps; ++i) step();
  require(write(ready.ends[1], "x", 1) == 1, "write");
  char byte;
  close(go.ends[1]);
  static_cast<void>(read(go.ends[0], &byte, 1));  // its end
  Result result;
  result.isCounted = isCounted;
  const Usage before = Usage::now();
  const auto begin = measure::Clock::now();
  while (measure::since(begin) < seconds) {
    const auto at = measure::Clock::now();
    if (step()) {
      ++result.done;
      result.longestWait = std::max(result.longestWait, measure::since(at));
    } else {
      pauseShortly();
    }
  }
  result.seconds = measure::since(begin);
  const Usage after = Usage::now();
  result.usage = {after.user - before.user, after.kernel - before.kernel};
  require(write(results.ends[1], &result, sizeof result) == sizeof result, "write");
  std::_Exit(0);
}

pid_t process(const std::function<void()>& body) {
  const pid_t child = fork();
  require(child >= 0, "fork");
  if (child == 0) {
    body();
    std::_Exit(0);
  }
  return child;
}

// Others that work until this ends.
class Background {
 public:
  void add(const Start& start) {
    processes_.push_back(process([&] {
      for (const Step step = start();;)
        if (!step()) pauseShortly();
    }));
  }
  ~Background() {
    for (const pid_t each : processes_) kill(each, SIGKILL);
    for (const pid_t each : processes_) waitpid(each, nullptr, 0);
  }

 private:
  std::vector<pid_t> processes_;
};

}  // namespace

Cost run(const std::vector<Start>& counted, const std::vector<Start>& feeding, double seconds) {
  const Pipe ready;
  const Pipe results;
  std::vector<pid_t> processes;
  {
    const Pipe go;
    for (const auto* const group : {&counted, &feeding})
      for (const Start& start : *group)
        processes.push_back(process([&] { work(start, ready, go, results, seconds, group == &counted); }));
    char byte;
    for (std::size_t i = 0; i < processes.size(); ++i) require(read(ready.ends[0], &byte, 1) == 1, "read");
  }
  Cost cost;
  double done = 0;
  Usage usage;
  for (std::size_t i = 0; i < processes.size(); ++i) {
    Result result;
    require(read(results.ends[0], &result, sizeof result) == sizeof result, "read");
    usage.user += result.usage.user;
    usage.kernel += result.usage.kernel;
    cost.longestWait = std::max(cost.longestWait, result.longestWait);
    if (!result.isCounted) continue;
    done += result.done;
    cost.rate += result.done / result.seconds;
  }
  for (const pid_t each : processes) waitpid(each, nullptr, 0);
  cost.user = usage.user / done;
  cost.kernel = usage.kernel / done;
  return cost;
}

double systemCalls(const std::vector<Start>& counted, const std::vector<Start>& feeding) {
  Background others;
  for (const Start& start : feeding) others.add(start);
  for (std::size_t i = 1; i < counted.size(); ++i) others.add(counted[i]);
  const pid_t traced = process([&] {
    const Step step = counted.front()();
    for (int i = 0; i < warmUpSteps; ++i) step();
    require(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0, "ptrace");
    raise(SIGSTOP);
    int idle = 0;
    for (int i = 0; i < tracedSteps && idle < 10 * tracedSteps;) step() ? ++i : ++idle;
    if (idle >= 10 * tracedSteps) std::_Exit(1);
  });
  long stops = 0;
  int status = 0;
  waitpid(traced, &status, 0);
  while (WIFSTOPPED(status)) {
    const int signal = WSTOPSIG(status) == SIGSTOP || WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
    require(ptrace(PTRACE_SYSCALL, traced, nullptr, signal) == 0, "ptrace");
    waitpid(traced, &status, 0);
    ++stops;  // one at the entry of a call, one at its end
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;  // there was not enough to do
  return static_cast<double>(stops) / 2 / tracedSteps;
}

void apart(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    std::_Exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) std::_Exit(1);
}

}  // namespace workers
