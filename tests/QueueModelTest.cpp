// The queue service beside a simple model in memory: seeded random schedules of operations from several
// handles and transactions must answer the same. To replay a seed: CORVANE_SEED=7 queue_model_tests
#include "Expect.h"
#include "Installation.h"
#include "Queuing.h"

#include <algorithm>
#include <array>
#include <deque>
#include <numeric>
#include <random>

namespace {

using namespace queuing;

constexpr unsigned queueCount = 2;   // the first one is transactional
constexpr unsigned handleCount = 6;  // two of each queue, one of each journal
constexpr unsigned transactionCount = 2;
constexpr unsigned single = transactionCount;  // instead of a transaction: this message alone
constexpr unsigned none = single + 1;          // or no transaction

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

// The members of the model, of the service.
class Service {
 public:
  Service() {
    for (unsigned queue = 0; queue < queueCount; ++queue) {
      createQueue(paths[queue], queue == 0 ? Transactional::Yes : Transactional::No);
      senders_.push_back(open(paths[queue], MQ_SEND_ACCESS));
    }
    for (unsigned i = 0; i < handleCount; ++i)
      receivers_.push_back(openFormat(formatOf(i % queueCount, i / queueCount / 2), MQ_RECEIVE_ACCESS));
  }
  void send(unsigned queue, const std::string& body, unsigned transaction) {
    queuing::send(senders_[queue], body, argument(transaction));
  }
  std::string receive(unsigned handle, bool isAtCursor, unsigned transaction) {
    const auto& queue = receivers_[handle];
    return bodyOf(isAtCursor ? receiveCurrent(queue, argument(transaction))
                             : queuing::receive(queue, argument(transaction)));
  }
  void reset(unsigned handle) { queuing::reset(receivers_[handle]); }
  std::string peek(unsigned handle) { return bodyOf(queuing::peek(receivers_[handle])); }
  std::string peekCurrent(unsigned handle) { return bodyOf(queuing::peekCurrent(receivers_[handle])); }
  std::string peekNext(unsigned handle) { return bodyOf(queuing::peekNext(receivers_[handle])); }
  void begin(unsigned transaction) { transactions_[transaction] = queuing::begin(); }
  void commit(unsigned transaction) { queuing::commit(transactions_[transaction]); }
  void abort(unsigned transaction) { queuing::abort(transactions_[transaction]); }
  void forget(unsigned transaction) { transactions_[transaction] = nullptr; }
  void set(unsigned queue, bool keepsJournal, LONG quota, LONG journalQuota) {
    queuing::set(settingsOf(senders_[queue]), keepsJournal, quota, journalQuota);
  }
  std::vector<std::string> visible(unsigned queue, unsigned box) { return bodies(formatOf(queue, box)); }

 private:
  static constexpr const char16_t* paths[] = {u".\\PRIVATE$\\Model", u".\\Plain"};
  static std::u16string formatOf(unsigned queue, unsigned box) {
    return std::u16string(u"DIRECT=OS:") + paths[queue] + (box == 1 ? u";JOURNAL" : u"");
  }
  In argument(unsigned transaction) const {
    return transaction == none ? In() : transaction == single ? alone() : In(transactions_[transaction]);
  }

  std::vector<Ref<IMSMQQueue>> senders_, receivers_;
  std::array<Ref<IMSMQTransaction>, transactionCount> transactions_;
};

class Schedule {
 public:
  explicit Schedule(unsigned seed) : random_(seed) {}

  struct Answers {
    std::string operation, model, service;
  };
  // Does one random step on both sides.
  Answers step() {
    const unsigned chance = pick(100), queue = pick(queueCount), handle = pick(handleCount);
    const unsigned transaction = pick(transactionCount);
    const bool isOpen = model_.isOpen(transaction);
    const unsigned given = isOpen && pick(2) == 0 ? transaction : none;
    const std::string with = " with " + std::to_string(handle) + " in " + std::to_string(given);
    if (chance < 32) {
      const unsigned sentIn = given == none && pick(2) == 0 ? single : given;
      const std::string body =
          std::to_string(++sent_) + std::string(pick(5) == 0 ? pick(900) : pick(20), '.');
      return both("send to " + std::to_string(queue) + " in " + std::to_string(sentIn),
                  [&](auto& side) { side.send(queue, body, sentIn); });
    }
    if (chance < 41)
      return both("receive" + with, [&](auto& side) { return side.receive(handle, false, given); });
    if (chance < 50)
      return both("receive current" + with, [&](auto& side) { return side.receive(handle, true, given); });
    if (chance < 56) return both("reset" + with, [&](auto& side) { side.reset(handle); });
    if (chance < 61) return both("peek" + with, [&](auto& side) { return side.peek(handle); });
    if (chance < 67) return both("peek current" + with, [&](auto& side) { return side.peekCurrent(handle); });
    if (chance < 78) return both("peek next" + with, [&](auto& side) { return side.peekNext(handle); });
    if (chance < 84) {
      const bool keepsJournal = pick(3) > 0;
      const LONG quota = pick(2) == 0 ? -1 : static_cast<LONG>(pick(12));
      const LONG journalQuota = pick(2) == 0 ? -1 : static_cast<LONG>(pick(6));
      return both("settings of " + std::to_string(queue),
                  [&](auto& side) { side.set(queue, keepsJournal, quota, journalQuota); });
    }
    const std::string number = " " + std::to_string(transaction);
    if (!isOpen) return both("begin" + number, [&](auto& side) { side.begin(transaction); });
    if (chance < 93) return both("commit" + number, [&](auto& side) { side.commit(transaction); });
    if (chance < 97) return both("abort" + number, [&](auto& side) { side.abort(transaction); });
    return both("forget" + number, [&](auto& side) { side.forget(transaction); });
  }
  Answers everything() {
    return both("all that is visible", [](auto& side) {
      std::string all;
      for (unsigned box = 0; box < 2 * queueCount; ++box)
        for (const std::string& body : side.visible(box % queueCount, box / queueCount)) all += body + ",";
      return all;
    });
  }

 private:
  unsigned pick(unsigned count) { return static_cast<unsigned>(random_() % count); }
  template <class Step>
  Answers both(const std::string& operation, Step&& step) {
    return {operation, answerOf(step, model_), answerOf(step, service_)};
  }
  template <class Step, class Side>
  static std::string answerOf(Step&& step, Side& side) {
    try {
      if constexpr (std::is_void_v<decltype(step(side))>)
        return step(side), "done";
      else
        return step(side);
    } catch (const Error& error) {
      return "error " + std::to_string(error.number());
    }
  }

  std::mt19937 random_;
  Model model_;
  Service service_;
  int sent_ = 0;
};

void runSchedule(unsigned seed) {
  if (std::filesystem::exists("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);  // nothing here is about the disk
  const Installation home;
  Schedule schedule(seed);
  std::deque<std::string> trail;
  for (int step = 0; step < 2000; ++step) {
    const auto [operation, model, service] = step % 250 == 249 ? schedule.everything() : schedule.step();
    trail.push_back(operation + " -> " + service.substr(0, 60) + "\n");
    if (trail.size() > 25) trail.pop_front();
    ASSERT_EQ(model, service) << "CORVANE_SEED=" << seed << ", step " << step << "; the last steps:\n"
                              << std::accumulate(trail.begin(), trail.end(), std::string());
  }
}

class QueueModel : public ::testing::TestWithParam<unsigned> {};
TEST_P(QueueModel, AnswersAsTheService) {
  constexpr unsigned each = 20;
  if (const char* seed = std::getenv("CORVANE_SEED"))
    return runSchedule(static_cast<unsigned>(std::atoi(seed)));
  for (unsigned seed = GetParam() * each; seed < (GetParam() + 1) * each && !HasFailure(); ++seed)
    runSchedule(seed);
}
INSTANTIATE_TEST_SUITE_P(TwoHundredSeeds, QueueModel, ::testing::Range(0u, 10u));

}  // namespace
