// The files of an open store, which somebody may remove, replace or cut short.
#pragma once

#include "StoreSharing.h"

namespace CorvaneQueue::platform_layer {

// Behind the name of a store: its files are being replaced by a copy, and some may be old ones.
inline constexpr const char* restoringTail = "-restoring";
// What is to take its place then.
inline constexpr const char* restoredTail = ".restored";

// The store, its log and its index, as they were when they were first looked at. What is written to a file
// that has lost its name is lost. Belongs to one session.

class StoreFiles {
 public:
  explicit StoreFiles(const std::filesystem::path& store);

  const std::filesystem::path& index() const noexcept { return index_.path; }
  // Takes those that are there as the store's, as far as it has none of that kind yet.
  void remember() noexcept;
  // The log and the index have gone, or been replaced by this session.
  void forgetLog() noexcept { log_.state = index_.state = {}; }
  // Throws an Error when one of them is no longer there; so does every later call.
  void mustBeThere(const StoreFile& file, const StoreSharing& sharing);
  // The engine reads its index through a mapping: where the file has been cut short, that would end the
  // process. Emptied, it is made anew from the log. Throws an Error when it is no longer there. Looks at it
  // once a millisecond at most.
  void mustMapWholeIndex(const StoreFile& file);
  // The engine has just opened the index, and may have begun it anew: as long as it is now it stays.
  void indexIsMapped(const StoreFile& file) noexcept;
  bool areLost() const noexcept { return areLost_; }

 private:
  struct Remembered {
    std::filesystem::path path;
    FileState state;
    // One that was not there yet is remembered from now on.
    bool isSame(FileState& now) noexcept;
    bool isSame() noexcept;
  };
  bool isDirectoryUnchanged() noexcept;
  bool isIndexWhole(const StoreFile& file);

  std::filesystem::path directory_;
  FileState directoryState_;
  bool isSettled_ = false;  // a later change of the directory cannot have the same time stamp
  Remembered store_;
  Remembered log_;
  Remembered index_;
  bool areLost_ = false;
  NowAndThen looks_{std::chrono::milliseconds(1)};
};

}  // namespace CorvaneQueue::platform_layer
