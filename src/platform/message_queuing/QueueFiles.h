// The files that tell of the queues: one for each, with its settings.
#pragma once

#include "QueueRecords.h"

#include <filesystem>
#include <set>
#include <vector>

namespace CorvaneQueue::platform_layer {

// In a directory of the service, where what somebody else has put is left alone. The store knows best:
// whoever changes a queue writes its file in the same transaction.
class QueueFiles {
 public:
  // In the directory `lqs` of the storage, which must be there.
  explicit QueueFiles(std::filesystem::path storage) : storage_(std::move(storage)) {}

  // Durably, whole or not at all. Throws an Error.
  void write(const QueueRecord& queue) const;
  void remove(std::int64_t queue) const noexcept;
  // Whether there are files of these queues and of no other ones.
  bool areThoseOf(const std::vector<QueueRecord>& queues) const;
  // Writes those that are missing, and removes the others.
  void reconcile(const std::vector<QueueRecord>& queues) const;

 private:
  std::filesystem::path fileOf(std::int64_t queue) const;
  std::set<std::filesystem::path> all() const;
  std::filesystem::path storage_;
};

// Writes down in the registry of the installation where the files of its queues are.
void registerDirectory(const std::filesystem::path& installation, const std::filesystem::path& storage);

}  // namespace CorvaneQueue::platform_layer
