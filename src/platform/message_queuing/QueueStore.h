// What the queue service stores: queues and messages, in one file of the shared storage component.
#pragma once

#include "Database.h"
#include "QueueAddress.h"
#include "StoreCheck.h"

#include <CorvaneQueue/Variant.h>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace CorvaneQueue::platform_layer {

struct QueueRecord {
  std::int64_t id = 0;
  QueueAddress address;
  bool isTransactional = false;
  bool isWorldReadable = false;
  bool keepsJournal = false;
  std::int32_t quota = -1;  // kilobytes of bodies, -1 for none
  std::int32_t journalQuota = -1;
  // Of bodies; kept up to date while there is a quota.
  std::int64_t bytes = 0;
  std::int64_t journalBytes = 0;

  bool fits(std::int64_t more) const noexcept {
    return quota < 0 || bytes + more <= std::int64_t{quota} * 1024;
  }
};

// Throws MQ_ERROR_INSUFFICIENT_RESOURCES.
[[noreturn]] void overQuota(const QueueRecord& queue);

// A queue's waiting messages, or its journal.
struct Box {
  std::int64_t queue = 0;
  bool isJournal = false;
  std::int64_t number() const noexcept { return queue * 2 + (isJournal ? 1 : 0); }
  friend bool operator==(const Box&, const Box&) noexcept = default;
};

struct MessageContent {
  String label;
  std::int32_t appSpecific = 0;
  std::int32_t delivery = 0;
  std::int64_t sentTime = 0;            // seconds since 1970 in UTC
  std::shared_ptr<const Variant> body;  // a byte array, or nothing for no bytes
  std::span<const std::uint8_t> bytes() const {
    return body ? bytesOf(body->get()) : std::span<const std::uint8_t>();
  }
};

// All of a stored message but its body.
struct MessageHeader {
  std::int64_t position = 0;  // its place in the box
  std::int64_t id = 0;        // never repeats, and stays when the message goes into the journal
  MessageContent content;
  std::int64_t arrivedTime = 0;
  std::int64_t bodyLength = 0;
  std::uint64_t checksum = 0;
};

// A message on its way into a queue.
struct Outgoing {
  std::int64_t queue = 0;
  MessageContent content;
};
// A message on its way out of a box.
struct Taken {
  Box box;
  std::int64_t position = 0;
  std::int64_t id = 0;
};

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
  // 16 bytes, other ones for each installation.
  const std::vector<std::uint8_t>& identity() const noexcept { return identity_; }

  std::optional<QueueRecord> find(const QueueAddress& address);
  std::optional<QueueRecord> find(std::int64_t queue);
  std::vector<QueueRecord> all();

  // The messages behind a position, at most `count`.
  void read(Box box, std::int64_t after, std::size_t count, std::vector<MessageHeader>& headers);
  // Whether there is one at these positions, both included.
  bool contains(Box box, std::int64_t from, std::int64_t to);
  // The position of the first message whose identifier has these lower 32 bits.
  std::optional<std::int64_t> firstWithNumber(Box box, std::uint32_t number);
  // Nothing when the message is no longer in the box. Throws MQ_ERROR_MESSAGE_STORAGE_FAILED when it is not
  // what was sent.
  std::shared_ptr<const Variant> body(Box box, const MessageHeader& header);

  // Inside write() only:
  // Returns the identifier of the new queue. Throws MQ_ERROR_QUEUE_EXISTS.
  std::int64_t create(const QueueRecord& queue);
  void update(const QueueRecord& queue);
  void remove(std::int64_t queue);
  // Throws MQ_ERROR_QUEUE_DELETED, and MQ_ERROR_INSUFFICIENT_RESOURCES over the quota.
  void put(const Outgoing& message);
  // Into the journal, if the queue keeps one; whether it does.
  bool take(const Taken& message);

  // Whether the store is sound.
  StoreReport check(StoreCheck how);

  // The queues whose journals lost messages to their quota in the last write().
  const std::vector<QueueAddress>& trimmedJournals() const noexcept { return trimmed_; }

 private:
  // A queue met during a write.
  struct Met {
    QueueRecord queue;
    bool isChanged = false;
  };
  Met& known(std::int64_t queue);
  std::int64_t bytesIn(Box box);
  std::int64_t nextNumber();
  // Returns the length of its body.
  std::int64_t drop(const Taken& message);
  void deleteDroppedBodies();
  void trimJournal(Met& met);
  void finishWrite();

  Database database_;
  std::vector<std::uint8_t> identity_;
  // Bodies that wait for their deletion, of all processes as far as known, and bytes of this one's.
  std::int64_t droppedCount_ = 0;
  std::int64_t droppedBytes_ = 0;
  bool hasDeletedBodies_ = false;
  // During a write:
  std::optional<std::int64_t> highest_;  // number given
  bool isCounterBehind_ = false;
  std::deque<Met> met_;
  std::vector<QueueAddress> trimmed_;
};

}  // namespace CorvaneQueue::platform_layer
