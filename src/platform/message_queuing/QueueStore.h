// What the queue service stores: queues and messages, in one file of the shared storage component.
#pragma once

#include "Database.h"
#include "MessageNumbers.h"
#include "QueueAccounts.h"
#include "StoreCheck.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace CorvaneQueue::platform_layer {

// One session. Belongs to the thread that opened it. Errors are those of the storage component, or of the
// queue service.
class QueueStore {
 public:
  static constexpr const char* fileName = "queues.db";
  // `directory` is the storage directory of the service.
  explicit QueueStore(const std::filesystem::path& directory,
                      Database::IfMissing ifMissing = Database::IfMissing::Create);

  // Runs `work` as one durable unit: all of it, or nothing and the error.
  void write(Database::Purpose purpose, const std::function<void()>& work);
  // False when the session has to be opened anew.
  bool isUsable() const noexcept { return database_.isUsable(); }
  // No other session with it was open when this one was opened.
  bool isFirst() const noexcept { return database_.wasFirst(); }
  // 16 bytes, other ones for each installation.
  const std::vector<std::uint8_t>& identity() const noexcept { return identity_; }

  QueueTable& queues() noexcept { return queues_; }

  // The messages behind a position, at most `count`.
  enum class Bodies { Later, Beside };  // Beside: with a body that stands in the same row
  void read(Box box, std::int64_t after, std::size_t count, std::vector<MessageHeader>& headers,
            Bodies bodies = Bodies::Later);
  // Whether there is one at these positions, both included.
  bool contains(Box box, std::int64_t from, std::int64_t to);
  // The position of the first message whose identifier has these lower 32 bits.
  std::optional<std::int64_t> firstWithNumber(Box box, std::uint32_t number);
  // Nothing when the message is no longer in the box at this moment. Throws MQ_ERROR_MESSAGE_STORAGE_FAILED
  // when it is not what was sent.
  std::shared_ptr<const Variant> body(Box box, const MessageHeader& header);
  // The one that was read beside the header; the same error.
  static std::shared_ptr<const Variant> bodyBeside(Box box, const MessageHeader& header);

  // Inside write() only:
  // Changes the settings of the queue.
  void update(const QueueRecord& queue);
  void remove(std::int64_t queue);
  // Returns its identifier. Throws MQ_ERROR_QUEUE_DELETED, and MQ_ERROR_INSUFFICIENT_RESOURCES over the
  // quota.
  std::int64_t put(const Outgoing& message);
  // Into the journal, if the queue keeps one; whether it does.
  bool take(const Taken& message);
  // Without a trace.
  void drop(const Taken& message);
  // To the waiting messages of a queue, in the order of their identifiers. Throws
  // MQ_ERROR_MESSAGE_STORAGE_FAILED for a damaged one, unless it is moved too and stays damaged, and
  // MQ_ERROR_INSUFFICIENT_RESOURCES.
  enum class Damaged { Refused, Moved };
  void move(const Taken& message, std::int64_t queue, Damaged damaged = Damaged::Refused);

  // Gives a part of the free room back to the disk; the bytes that are left of it.
  std::int64_t compact();
  Database& database() noexcept { return database_; }

  // Whether the store is sound.
  StoreReport check(StoreCheck how);

  // The queues whose journals lost messages to their quota in the last write().
  const std::vector<QueueAddress>& trimmedJournals() const noexcept { return trimmed_; }

 private:
  QueueRecord& accountOf(std::int64_t queue) { return accounts_.of(queue); }
  void mustBeTrimmed(const Taken& message);
  void moveRow(const Taken& message, Box to, std::int64_t position, std::optional<std::int64_t> takenTime);
  void deleteDroppedBodies();
  void trimJournal(QueueRecord& queue);

  Database database_;
  QueueTable queues_;
  QueueAccounts accounts_{database_, queues_};
  MessageNumbers numbers_;
  std::vector<std::uint8_t> identity_;
  // Large bodies that wait for their deletion, of all processes as far as known, and bytes of this one's.
  std::int64_t droppedCount_ = 0;
  std::int64_t droppedBytes_ = 0;
  int deletedCount_ = 0;               // messages, since room was given back
  std::vector<QueueAddress> trimmed_;  // during a write
};

}  // namespace CorvaneQueue::platform_layer
