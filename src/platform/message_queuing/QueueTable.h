// The queues of the service, as they are stored.
#pragma once

#include "Database.h"
#include "QueueRecords.h"

#include <optional>
#include <vector>

namespace CorvaneQueue::platform_layer {

// Of one session, which must outlive it.
class QueueTable {
 public:
  explicit QueueTable(Database& database) noexcept : database_(database) {}

  std::optional<QueueRecord> find(const QueueAddress& address);
  std::optional<QueueRecord> find(std::int64_t queue);
  std::vector<QueueRecord> all();

  // Inside a write only:
  // Returns the identifier of the new queue. Throws MQ_ERROR_QUEUE_EXISTS.
  std::int64_t create(const QueueRecord& queue);
  void setSettings(const QueueRecord& queue);
  // What is in it.
  void setContent(const QueueRecord& queue);

 private:
  Database& database_;
};

}  // namespace CorvaneQueue::platform_layer
