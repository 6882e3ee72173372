// The write-ahead log of an embedded store, as a file: what the engine would not tell of it.
#pragma once

#include <cstdint>
#include <filesystem>

namespace CorvaneQueue::platform_layer {

// What stands in a log. A frame is a page; the last frame of a transaction says so.
struct LogContent {
  std::uint32_t frames = 0;  // whole ones, from the beginning, to the end of the last whole transaction
  std::uint64_t bytes = 0;   // they end there
  // Frames of the same log that stand behind a damaged place, and transactions that end among them.
  std::uint32_t framesBehind = 0;
  std::uint32_t transactionsBehind = 0;
};

// The log of the store with that file. Reads and writes it by a descriptor of its own, which disturbs no
// lock.
class LogFile {
 public:
  explicit LogFile(const std::filesystem::path& store);

  bool isEmpty() const;
  // Nothing for a log that is not there.
  LogContent read() const;
  // Writes what stands in it once more, and syncs it: for the case that the system has taken pages for
  // written that are not on the disk. Nobody may write into the log meanwhile. Throws an Error.
  void writeAnew(std::uint64_t bytes) const;
  // Copies it to a file beside it with that ending, durably; returns that file.
  std::filesystem::path copyAside(const char* ending) const;
  // Renames it in the same way.
  std::filesystem::path setAside(const char* ending) const;

 private:
  std::filesystem::path asideName(const char* ending) const;
  std::filesystem::path file_;
};

}  // namespace CorvaneQueue::platform_layer
