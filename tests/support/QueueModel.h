// The queue service as a simple model in memory.
#pragma once

#include "Queuing.h"

#include <algorithm>
#include <array>
#include <deque>
#include <numeric>

namespace queue_model {

using namespace queuing;

inline constexpr unsigned queueCount = 2;   // the first one is transactional
inline constexpr unsigned handleCount = 6;  // two of each queue, one of each journal
inline constexpr unsigned transactionCount = 2;
inline constexpr unsigned single = transactionCount;  // instead of a transaction: this message alone
inline constexpr unsigned none = single + 1;          // or no transaction

// Members answer as those of the service, or throw an error of the same number.
class Model {
 public:
  Model() {
    queues_[0].isTransactional = true;
    for (unsigned i = 0; i < handleCount; ++i) handles_[i] = {i % queueCount, i / queueCount / 2};
  }
  void send(unsigned queue, const std::string& body, unsigned transaction) {
    Queue& to = queues_[queue];
    if (to.isTransactional != (transaction != none)) refuse(MQ_ERROR_TRANSACTION_USAGE);
    if (transaction >= transactionCount) return to.put(body);
    auto& sent = transactions_[transaction].sent;
    std::size_t size = body.size();
    for (const auto& [other, kept] : sent) size += other == queue ? kept.size() : 0;
    to.admit(size);
    sent.emplace_back(queue, body);
  }
  std::string receive(unsigned which, bool isAtCursor, unsigned transaction) {
    Handle& handle = handles_[which];
    if (transaction != none && !queues_[handle.queue].isTransactional) refuse(MQ_ERROR_TRANSACTION_USAGE);
    Message* const found = isAtCursor ? current(handle) : box(handle).visibleBehind(0);
    if (found == nullptr) return "(none)";
    const Message message = *found;
    if (isAtCursor) handle.state = Handle::Behind, handle.place = message.place;
    if (transaction == none) {
      queues_[handle.queue].take(handle.box, message.place);
    } else {
      found->holder = transaction;
      transactions_[transaction].taken.push_back({handle.queue, handle.box, message.place});
    }
    return message.body;
  }
  void reset(unsigned which) { handles_[which] = {handles_[which].queue, handles_[which].box}; }
  std::string peek(unsigned which) {
    const Message* const first = box(handles_[which]).visibleBehind(0);
    return first == nullptr ? "(none)" : first->body;
  }
  std::string peekCurrent(unsigned which) { return standOn(handles_[which], current(handles_[which])); }
  std::string peekNext(unsigned which) {
    Handle& handle = handles_[which];
    if (handle.state == Handle::BeforeFirst) refuse(MQ_ERROR_ILLEGAL_CURSOR_ACTION);
    const Message* next = box(handle).visibleBehind(handle.place);
    if (handle.state == Handle::Behind && next != nullptr) next = box(handle).visibleBehind(next->place);
    return standOn(handle, next);
  }
  bool isOpen(unsigned transaction) const { return transactions_[transaction].isOpen; }
  void begin(unsigned transaction) { transactions_[transaction].isOpen = true; }
  void commit(unsigned which) {
    auto after = queues_;
    for (const auto& [queue, box, place] : transactions_[which].taken) after[queue].take(box, place);
    for (const auto& [queue, body] : transactions_[which].sent) after[queue].put(body);
    queues_ = after;
    transactions_[which] = {};
  }
  void abort(unsigned which) {
    for (Queue& queue : queues_)
      for (Box& box : queue.boxes)
        for (Message& message : box.messages)
          if (message.holder == which) message.holder = none;
    transactions_[which] = {};
  }
  void forget(unsigned which) { abort(which); }
  void set(unsigned queue, bool keepsJournal, LONG quota, LONG journalQuota) {
    queues_[queue].keepsJournal = keepsJournal;
    queues_[queue].quota = quota;
    queues_[queue].journalQuota = journalQuota;
    queues_[queue].trim();
  }
  std::vector<std::string> visible(unsigned queue, unsigned box) const {
    std::vector<std::string> bodies;
    for (const Message& message : queues_[queue].boxes[box].messages)
      if (message.holder == none) bodies.push_back(message.body);
    return bodies;
  }

 private:
  struct Message {
    long place;  // in its box; grows with arrival
    std::string body;
    unsigned holder = none;  // transaction
  };
  struct Box {
    std::deque<Message> messages;
    bool holdsMoreThan(LONG quota, std::size_t more = 0) const {
      for (const Message& message : messages) more += message.body.size();
      return quota >= 0 && more > static_cast<std::size_t>(quota) * 1024;
    }
    Message* visibleBehind(long place) {
      for (Message& message : messages)
        if (message.place > place && message.holder == none) return &message;
      return nullptr;
    }
  };
  struct Queue {
    bool isTransactional = false;
    bool keepsJournal = false;
    LONG quota = -1;
    LONG journalQuota = -1;
    std::array<Box, 2> boxes;  // waiting, journal
    long lastPlace = 0;

    void admit(std::size_t size) const {
      if (boxes[0].holdsMoreThan(quota, size)) refuse(MQ_ERROR_INSUFFICIENT_RESOURCES);
    }
    void put(const std::string& body) {
      admit(body.size());
      boxes[0].messages.push_back({++lastPlace, body});
    }
    void take(unsigned box, long place) {
      auto& messages = boxes[box].messages;
      const auto taken = std::ranges::find(messages, place, &Message::place);
      if (taken == messages.end()) return;  // trimmed meanwhile
      if (box == 0 && keepsJournal) boxes[1].messages.push_back({++lastPlace, taken->body});
      messages.erase(taken);
      trim();
    }
    void trim() {
      while (boxes[1].holdsMoreThan(journalQuota)) boxes[1].messages.pop_front();
    }
  };
  struct Taken {
    unsigned queue, box;
    long place;
  };
  struct Transaction {
    bool isOpen = false;
    std::vector<Taken> taken;
    std::vector<std::pair<unsigned, std::string>> sent;
  };
  struct Handle {
    unsigned queue, box;
    enum { BeforeFirst, On, Behind } state = BeforeFirst;
    long place = 0;
  };

  [[noreturn]] static void refuse(HRESULT number) { throw Error(number, u"", u""); }
  Box& box(const Handle& handle) { return queues_[handle.queue].boxes[handle.box]; }
  Message* current(const Handle& handle) {
    if (handle.state != Handle::On) return box(handle).visibleBehind(handle.place);
    Message* const found = box(handle).visibleBehind(handle.place - 1);
    if (found == nullptr || found->place != handle.place) refuse(MQ_ERROR_MESSAGE_ALREADY_RECEIVED);
    return found;
  }
  static std::string standOn(Handle& handle, const Message* message) {
    if (message == nullptr) return "(none)";
    handle.state = Handle::On;
    handle.place = message->place;
    return message->body;
  }

  std::array<Queue, queueCount> queues_;
  std::array<Handle, handleCount> handles_;
  std::array<Transaction, transactionCount> transactions_;
};

}  // namespace queue_model
