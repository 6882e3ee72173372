// A copy of an embedded store while others work with it.
#pragma once

#include "Database.h"

namespace CorvaneQueue::platform_layer {

// Of what is in the store at the moment of its making. The session does nothing else meanwhile.
class StoreCopy {
 public:
  // Bytes done, of how many. What it throws ends the copy.
  using Progress = std::function<void(std::int64_t done, std::int64_t total)>;
  explicit StoreCopy(Database& store);
  ~StoreCopy();
  StoreCopy(const StoreCopy&) = delete;
  // Writes it to a file that is not there yet; durable.
  void write(const std::filesystem::path& file, const Progress& progress);

 private:
  Database& store_;
};

}  // namespace CorvaneQueue::platform_layer
