// Room on the disk that is given up when it is full, so that documents can still be taken out.
#pragma once

#include "NowAndThen.h"

#include <filesystem>

namespace CorvaneQueue::platform_layer {

// The file `reserve` beside a store: more than the log takes until what was stored has found its place.
class Reserve {
 public:
  explicit Reserve(const std::filesystem::path& store) : file_(store.parent_path() / "reserve") {}
  // Whether it is there, perhaps just now.
  bool make() const noexcept;
  void giveUp() const noexcept;
  // Whether the disk has less room left than the reserve takes.
  bool isNeeded() noexcept;

 private:
  std::filesystem::path file_;
  NowAndThen looks_{std::chrono::milliseconds(10)};
};

}  // namespace CorvaneQueue::platform_layer
