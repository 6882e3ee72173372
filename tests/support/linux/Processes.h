// Work in processes of their own.
#pragma once

#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

// About the time that a process needs until it is at work.
inline constexpr std::chrono::microseconds timeToStart = std::chrono::milliseconds(10);

using Child = pid_t;
using Arguments = std::vector<std::string>;

// The process fails when the body throws. Elsewhere processes are not copied: a body of tests for all systems
// has no captures, and what it is to know is handed over.
template <class Body>
Child inProcess(Body&& body, const Arguments& given = {}) {
  const pid_t child = fork();
  if (child != 0) return child;
  try {
    if constexpr (std::is_invocable_v<Body, const Arguments&>)
      body(given);
    else
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
// Whether it was at work until then.
inline bool killed(pid_t child) {
  kill(child, SIGKILL);
  return endOf(child) == SIGKILL;
}
inline bool hasEnded(pid_t child) {
  siginfo_t found{};
  return waitid(P_PID, static_cast<id_t>(child), &found, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         found.si_pid == child;
}
// Ends this process as if it had been killed.
[[noreturn]] inline void die() {
  raise(SIGKILL);
  std::terminate();
}
inline void pauseFor(std::chrono::microseconds time) { usleep(static_cast<useconds_t>(time.count())); }

// Where processes wait for each other; make it before they are forked off.
class Gate {
 public:
  Gate() {
    if (pipe(ends_) != 0) throw std::runtime_error("no pipe");
  }
  // That of another process.
  explicit Gate(const std::string& name) {
    const auto space = name.find(' ');
    ends_[0] = dup(std::stoi(name));
    ends_[1] = dup(std::stoi(name.substr(space)));
  }
  ~Gate() {
    close(ends_[0]);
    close(ends_[1]);
  }
  Gate(const Gate&) = delete;
  // For other processes.
  std::string name() const { return std::to_string(ends_[0]) + " " + std::to_string(ends_[1]); }
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

// A value in the memory of all processes that know its name; at first its bytes are zero.
template <class Value>
class InAllProcesses {
 public:
  InAllProcesses()
      : value_(static_cast<Value*>(
            ::mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))),
        isOwner_(true) {
    if (value_ == MAP_FAILED) throw std::runtime_error("no memory for all processes");
  }
  explicit InAllProcesses(const std::string& name)
      : value_(reinterpret_cast<Value*>(std::stoull(name))), isOwner_(false) {}
  ~InAllProcesses() {
    if (isOwner_) ::munmap(value_, sizeof(Value));
  }
  InAllProcesses(const InAllProcesses&) = delete;
  std::string name() const { return std::to_string(reinterpret_cast<std::uintptr_t>(value_)); }
  Value* operator->() const { return value_; }
  Value& operator*() const { return *value_; }

 private:
  Value* value_;
  bool isOwner_;
};
