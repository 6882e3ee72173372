// What the throughput benchmarks share.
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace measure {

using Clock = std::chrono::steady_clock;
inline double seconds = 1;
inline int turns = 5;
inline std::string only;

inline double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}
inline double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// A fresh installation on the disk that the benchmark runs on.
class Home {
 public:
  explicit Home(const char* store = "db") {
    std::string pattern = (std::filesystem::current_path() / "corvane-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::exit(1);
    directory = pattern;
    setenv("CORVANE_HOME", directory.c_str(), 1);
    std::ofstream(directory / "settings.toml")
        << "[Configuration.Global]\nQueueStoreType = \"" << store << "\"\n";
  }
  ~Home() { std::filesystem::remove_all(directory); }
  std::filesystem::path directory;
};

// Steps per second, until a step says no.
inline double rate(const std::function<bool()>& step) {
  const auto start = Clock::now();
  long done = 0;
  while (since(start) < seconds && step()) ++done;
  return static_cast<double>(done) / since(start);
}

// Synced records per second of the disk: a preallocated file, each record written and synced.
inline double disk(std::size_t size) {
  const Home home;
  const auto path = home.directory / "records";
  const int file = open(path.c_str(), O_RDWR | O_CREAT, 0600);
  const std::string zeros(1 << 20, '\0');
  constexpr off_t length = 64 << 20;
  for (off_t at = 0; at < length; at += 1 << 20)
    if (pwrite(file, zeros.data(), zeros.size(), at) < 0) std::exit(1);
  fsync(file);
  const std::string record(size, 'x');
  off_t at = 0;
  const double result = rate([&] {
    if (pwrite(file, record.data(), record.size(), at) < 0 || fdatasync(file) != 0) std::exit(1);
    at = (at + static_cast<off_t>(size)) % (length - static_cast<off_t>(size));
    return true;
  });
  close(file);
  return result;
}

inline bool wanted(const char* row) { return std::string(row).find(only) != std::string::npos; }
inline void heading(const char* what, const char* own, const char* other) {
  std::printf("%-28s %10s %10s %8s %10s %8s\n", what, own, other, "ratio", "disk", "ratio");
}
// Medians of work(true), work(false) and the bare disk, turn about.
inline void compare(const char* what, double (*work)(bool), const std::function<double()>& bareDisk) {
  if (!wanted(what)) return;
  std::vector<double> own;
  std::vector<double> other;
  std::vector<double> bare;
  for (int turn = 0; turn < turns; ++turn) {
    const bool isFirst = turn % 2 == 0;  // who comes first feels what the disk still has to do
    bare.push_back(bareDisk());
    (isFirst ? own : other).push_back(work(isFirst));
    (isFirst ? other : own).push_back(work(!isFirst));
  }
  std::printf("%-28s %10.0f %10.0f %8.2f %10.0f %8.2f\n", what, median(own), median(other),
              median(own) / median(other), median(bare), median(own) / median(bare));
  std::fflush(stdout);
}

inline void report(const char* what, double value, const char* unit) {
  std::printf("%-44s %12.2f %s\n", what, value, unit);
  std::fflush(stdout);
}
inline double medianTime(int count, const std::function<void()>& step) {
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    const auto start = Clock::now();
    step();
    times.push_back(since(start));
  }
  return median(times);
}

}  // namespace measure
