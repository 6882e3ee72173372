// What the throughput benchmarks share.
#pragma once

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
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
  Home() {
    std::string pattern = (std::filesystem::current_path() / "corvane-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::exit(1);
    directory = pattern;
    setenv("CORVANE_HOME", directory.c_str(), 1);
    std::ofstream(directory / "settings.toml") << "[Configuration.Global]\nQueueStoreType = \"db\"\n";
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

}  // namespace measure
