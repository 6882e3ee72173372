// Work in processes of their own: the same program again, told which work to do.
#pragma once

#include <windows.h>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

// About the time that a process needs until it is at work.
inline constexpr std::chrono::microseconds timeToStart = std::chrono::milliseconds(150);

using Arguments = std::vector<std::string>;

namespace processes {

using Work = void (*)(const Arguments& given);
inline std::map<std::string, Work>& works() {
  static std::map<std::string, Work> all;
  return all;
}
// Makes the body known in every process, before its main.
template <class Body>
inline const bool isKnown = [] {
  works()[typeid(Body).name()] = [](const Arguments& given) {
    if constexpr (std::is_invocable_v<Body, const Arguments&>)
      Body{}(given);
    else
      Body{}();
  };
  return true;
}();

inline constexpr const char* option = "--in-process";
inline constexpr UINT killedEnd = 0xC0DE;

// For the main of a program.
inline int work(const Arguments& given) {
  try {
    works().at(given.at(0))({given.begin() + 1, given.end()});
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

}  // namespace processes

using Child = HANDLE;

// The body has no captures: what it is to know is handed over. The process fails when it throws.
template <class Body>
Child inProcess(Body, const Arguments& given = {}) {
  static_cast<void>(processes::isKnown<Body>);
  std::string command = std::string("test ") + processes::option + " " + typeid(Body).name();
  for (const std::string& each : given) command += " \"" + each + "\"";
  char program[MAX_PATH];
  ::GetModuleFileNameA(nullptr, program, sizeof program);
  STARTUPINFOA start{};
  start.cb = sizeof start;
  PROCESS_INFORMATION made;
  if (::CreateProcessA(program, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &made) ==
      0)
    throw std::runtime_error("no process");
  ::CloseHandle(made.hThread);
  return made.hProcess;
}
inline bool hasEnded(Child child) { return ::WaitForSingleObject(child, 0) == WAIT_OBJECT_0; }
// Waits for its end.
inline DWORD endOf(Child child) {
  DWORD end = 0;
  ::WaitForSingleObject(child, INFINITE);
  ::GetExitCodeProcess(child, &end);
  ::CloseHandle(child);
  return end;
}
inline bool succeeded(Child child) { return endOf(child) == 0; }
// Whether it was at work until then.
inline bool killed(Child child) {
  ::TerminateProcess(child, processes::killedEnd);
  return endOf(child) == processes::killedEnd;
}
// Ends this process as if it had been killed.
[[noreturn]] inline void die() {
  ::TerminateProcess(::GetCurrentProcess(), processes::killedEnd);
  std::terminate();
}
inline void pauseFor(std::chrono::microseconds time) { ::Sleep(static_cast<DWORD>(time.count() / 1000)); }

// Where processes wait for each other.
class Gate {
 public:
  Gate() : Gate(newName()) {}
  explicit Gate(std::string name)
      : name_(std::move(name)), passes_(::CreateSemaphoreA(nullptr, 0, 1000, name_.c_str())) {
    if (passes_ == nullptr) throw std::runtime_error("no gate");
  }
  ~Gate() { ::CloseHandle(passes_); }
  Gate(const Gate&) = delete;
  // For other processes.
  const std::string& name() const { return name_; }
  // One may pass.
  void open() const { ::ReleaseSemaphore(passes_, 1, nullptr); }
  void pass() const {
    if (::WaitForSingleObject(passes_, 60'000) != WAIT_OBJECT_0)
      throw std::runtime_error("the gate stays closed");
  }
  static std::string newName() {
    static std::atomic<int> count = 0;
    return "corvane-" + std::to_string(::GetCurrentProcessId()) + "-" + std::to_string(++count);
  }

 private:
  std::string name_;
  HANDLE passes_;
};

// A value in the memory of all processes that know its name; at first its bytes are zero.
template <class Value>
class InAllProcesses {
 public:
  explicit InAllProcesses(std::string name = Gate::newName()) : name_(std::move(name)) {
    mapping_ =
        ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Value), name_.c_str());
    value_ = static_cast<Value*>(::MapViewOfFile(mapping_, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0));
    if (value_ == nullptr) throw std::runtime_error("no memory for all processes");
  }
  ~InAllProcesses() {
    ::UnmapViewOfFile(value_);
    ::CloseHandle(mapping_);
  }
  InAllProcesses(const InAllProcesses&) = delete;
  const std::string& name() const { return name_; }
  Value* operator->() const { return value_; }
  Value& operator*() const { return *value_; }

 private:
  std::string name_;
  HANDLE mapping_;
  Value* value_;
};
