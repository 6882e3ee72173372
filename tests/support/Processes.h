// Work in processes of their own.
#pragma once

#include <sys/wait.h>
#include <unistd.h>
#include <cstdio>
#include <exception>

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
inline bool succeeded(pid_t child) { return endOf(child) == 0; }
