// The queue service beside a simple model in memory: seeded random schedules of operations from several
// handles and transactions must answer the same. To replay a seed: CORVANE_SEED=7 queue_model_tests
#include "Expect.h"
#include "Installation.h"
#include "QueueModel.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <random>

namespace {

using namespace queue_model;

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
