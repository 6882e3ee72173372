// The queue service: what its objects do with queues and messages.
#pragma once

#include "ArrivalSignals.h"
#include "MessageReader.h"
#include "QueueFiles.h"

#include <map>
#include <set>

namespace CorvaneQueue::platform_layer {

// What a transaction has done so far: messages that it holds, and messages kept back until its commit.
struct TransactionWork {
  std::unique_ptr<MessageLocks> locks;
  std::vector<Taken> taken;
  std::vector<Outgoing> sent;
  std::map<std::int64_t, std::int64_t> sentBytes;  // of bodies, by queue
  bool isOver = false;
};

// One for each thread and installation. Errors are those of the queue service, with the queue's name and
// what was tried, or of the storage component.
class QueueService {
 public:
  // The calling thread's, for the installation of this moment; it ends with the last object that uses it.
  static std::shared_ptr<QueueService> current();
  explicit QueueService(std::filesystem::path installation);
  // Whether the installation has a store of this service; the first object that stores makes one.
  static bool isStoreThere();

  // Throws MQ_ERROR_QUEUE_EXISTS.
  void create(const QueueRecord& queue);
  [[noreturn]] static void notFound(const QueueAddress& address);
  // These throw MQ_ERROR_QUEUE_NOT_FOUND, or MQ_ERROR_QUEUE_DELETED for one that was there once.
  QueueRecord find(const QueueAddress& address);
  QueueRecord find(std::int64_t queue, const QueueAddress& address);
  // Changes settings of the queue as they are at that moment.
  void update(const QueueRecord& queue, const std::function<void(QueueRecord& now)>& change);
  // `check` is called in the same write, and may throw.
  void remove(
      const QueueAddress& address, const std::function<void()>& check = [] {});

  // The first message behind a position that nobody holds, read ahead for a cursor or not.
  Sight firstVisible(Box box, std::int64_t after) { return reader_.first(store(), box, after); }
  Sight firstVisible(Box box, std::int64_t after, ReadAhead& ahead) {
    return reader_.first(store(), box, after, ahead);
  }
  // The message at that position, or nothing when it is gone or held by somebody.
  std::optional<MessageHeader> visibleAt(Box box, std::int64_t position) {
    return reader_.at(store(), box, position);
  }
  // The position of the first message of which that is the number (its lower 32 bits); nothing when it is not
  // there or held by somebody.
  std::optional<std::int64_t> visibleWithNumber(Box box, std::uint32_t number) {
    const auto position = store().firstWithNumber(box, number);
    return position && visibleAt(box, *position) ? position : std::nullopt;
  }
  // Nothing when the message is gone meanwhile.
  std::shared_ptr<const Variant> body(Box box, const MessageHeader& header) {
    return store().body(box, header);
  }

  // A message that was seen is not there: somebody took it meanwhile, and nobody will see it again. `before`
  // is what was missing the time before, 0 at first. Throws MQ_ERROR_MESSAGE_STORAGE_FAILED when it is the
  // same.
  void missing(const MessageHeader& header, std::int64_t& before);

  // Takes the first visible message behind a position (`exactly`: the one at it), for the transaction or
  // for good, and loads its body if it is wanted.
  enum class Where { Behind, Exactly };
  enum class Body { Wanted, NotWanted };
  struct Received {
    Sight sight;  // with the message that was taken
    std::shared_ptr<const Variant> body;
  };
  Received receive(Box box, std::int64_t position, Where where, Body wanted, TransactionWork* transaction);
  void send(const Outgoing& message);
  // Until the commit. Throws MQ_ERROR_INSUFFICIENT_RESOURCES over the quota, with what waits and what the
  // transaction keeps back.
  void keepBack(TransactionWork& work, Outgoing message, const QueueRecord& queue);
  // Changes with everything that is stored, by any process.
  std::uint64_t generation() const noexcept { return counts_.stored(); }
  // All of it, durable; or nothing, and the error: then the work can be tried again or aborted. A failed
  // sync is an error too, but everything is stored and the work is over.
  void commit(TransactionWork& work);
  void abort(TransactionWork& work) noexcept;

  ArrivalSignals& signals() noexcept { return signals_; }
  const std::vector<std::uint8_t>& identity() { return store().identity(); }
  // Throws when the store has been removed or replaced since it was opened.
  void mustBeThere() const;

  // For work that is not a receive or a send. Locks of messages are those of somebody else.
  QueueStore& store();
  std::unique_ptr<MessageLocks> newLocks();
  // Tell it of every message that such locks hold, before it is taken for good or let go.
  void held() noexcept { counts_.addHeld(); }
  // `onceStored` runs when the work is stored, also when the sync failed.
  enum class Order { Changes, Stays };  // Stays: takes messages that are held, and puts others behind all
  void write(Database::Purpose purpose, const std::function<void()>& work,
             const std::function<void()>& onceStored, Order order = Order::Changes);

 private:
  bool isThere() const noexcept;
  bool wasThereJustNow() noexcept { return !looks_.isDue() || isThere(); }
  void prepare();
  void closeGap(const TransactionWork& work, const Taken& next);
  void release(TransactionWork& work) noexcept;

  std::filesystem::path installation_;
  std::filesystem::path storage_;
  FileState opened_;       // the storage directory
  FileState openedStore_;  // the store in it
  NowAndThen looks_{std::chrono::milliseconds(1)};
  int process_;
  std::optional<QueueStore> store_;
  QueueFiles files_;
  SharedCounts counts_;
  MessageReader reader_;
  MessageLocks ownLocks_;  // of receives outside of transactions
  std::unique_ptr<MessageLocks> spareLocks_;
  ArrivalSignals signals_;
  std::set<std::u16string> toldJournals_;
};

}  // namespace CorvaneQueue::platform_layer
