// Work in processes of their own.
#pragma once

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

// The process fails when the body throws.
template <class Body>
pid_t inProcess(Body&& body) {
  const pid_t child = fork();
  if (child != 0) return child;
  try {
    body();
    _exit(0);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  _exit(1);
}
// Waits for its end; what waitpid tells.
inline int endOf(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child ? status : -1;
}
// Waits until it has stopped itself.
inline bool hasStopped(pid_t child) {
  int status = 0;
  return waitpid(child, &status, WUNTRACED) == child && WIFSTOPPED(status);
}
inline bool succeeded(pid_t child) { return endOf(child) == 0; }
inline void killed(pid_t child) {
  kill(child, SIGKILL);
  endOf(child);
}

// Where processes wait for each other; make it before they are forked off.
class Gate {
 public:
  Gate() {
    if (pipe(ends_) != 0) throw std::runtime_error("no pipe");
  }
  ~Gate() {
    close(ends_[0]);
    close(ends_[1]);
  }
  Gate(const Gate&) = delete;
  // One may pass.
  void open() const {
    if (write(ends_[1], "x", 1) != 1) throw std::runtime_error("the gate does not open");
  }
  void pass() const {
    pollfd waiting{ends_[0], POLLIN, 0};
    char byte;
    if (poll(&waiting, 1, 60'000) != 1 || read(ends_[0], &byte, 1) != 1)
      throw std::runtime_error("the gate stays closed");
  }

 private:
  int ends_[2];
};
