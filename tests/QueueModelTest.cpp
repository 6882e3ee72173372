// The queue service beside a simple model in memory: seeded random schedules of operations from several
// handles and transactions must answer the same. To replay a seed: CORVANE_SEED=7 queue_model_tests
#include "Expect.h"
#include "Installation.h"
#include "Queuing.h"

#include <deque>
#include <random>

namespace {

using namespace queuing;

struct ModelMessage {
  long place;  // in its box; grows with arrival
  std::string body;
  int holder;  // transaction, -1 for nobody
};
struct ModelBox {
  std::deque<ModelMessage> messages;
  std::size_t bytes() const {
    std::size_t sum = 0;
    for (const auto& message : messages) sum += message.body.size();
    return sum;
  }
  const ModelMessage* visibleBehind(long place) const {
    for (const auto& message : messages)
      if (message.place > place && message.holder < 0) return &message;
    return nullptr;
  }
  const ModelMessage* visibleAt(long place) const {
    for (const auto& message : messages)
      if (message.place == place && message.holder < 0) return &message;
    return nullptr;
  }
};
struct ModelQueue {
  bool isTransactional = false;
  bool keepsJournal = false;
  long quota = -1;
  long journalQuota = -1;
  ModelBox boxes[2];  // waiting, journal
  long lastPlace = 0;

  bool fits(std::size_t more) const {
    return quota < 0 || boxes[0].bytes() + more <= static_cast<std::size_t>(quota) * 1024;
  }
  void put(const std::string& body) { boxes[0].messages.push_back({++lastPlace, body, -1}); }
  void take(int box, long place) {
    auto& messages = boxes[box].messages;
    for (auto at = messages.begin(); at != messages.end(); ++at) {
      if (at->place != place) continue;
      ModelMessage taken = *at;
      messages.erase(at);
      if (box == 0 && keepsJournal) boxes[1].messages.push_back({++lastPlace, taken.body, -1});
      break;
    }
    trim();
  }
  void trim() {
    while (journalQuota >= 0 && boxes[1].bytes() > static_cast<std::size_t>(journalQuota) * 1024)
      boxes[1].messages.pop_front();
  }
};
struct ModelTransaction {
  bool isOpen = false;
  struct Taken {
    int queue, box;
    long place;
  };
  std::vector<Taken> taken;
  std::vector<std::pair<int, std::string>> sent;
};
struct ModelHandle {
  int queue, box;
  enum class State { BeforeFirst, On, Behind } state = State::BeforeFirst;
  long place = 0;
};

constexpr int queueCount = 2;
constexpr int handleCount = 6;  // two of each queue, one of each journal
constexpr int transactionCount = 2;

class Schedule {
 public:
  explicit Schedule(unsigned seed) : random_(seed) {
    for (int i = 0; i < queueCount; ++i) {
      model_.emplace_back().isTransactional = i == 0;
      createQueue(path(i), i == 0 ? Transactional::Yes : Transactional::No);
      senders_.push_back(open(path(i), MQ_SEND_ACCESS));
    }
    for (int i = 0; i < handleCount; ++i) {
      const int queue = i % queueCount;
      const int box = i >= 2 * queueCount ? 1 : 0;
      handles_.push_back({queue, box, ModelHandle::State::BeforeFirst, 0});
      receivers_.push_back(
          openFormat(u"DIRECT=OS:" + path(queue) + (box == 1 ? u";JOURNAL" : u""), MQ_RECEIVE_ACCESS));
    }
    transactions_.resize(transactionCount);
    real_.resize(transactionCount);
  }

  // Does one random step on both sides; what each says.
  struct Answers {
    std::string operation, model, service;
  };
  Answers step() {
    const int what = pick(100);
    if (what < 30) return sending();
    if (what < 48) return receiving();
    if (what < 76) return browsing();
    if (what < 94) return transacting();
    return settings();
  }
  // What is visible everywhere.
  Answers everything() {
    Answers answers{"all that is visible", "", ""};
    for (int queue = 0; queue < queueCount; ++queue)
      for (int box = 0; box < 2; ++box) {
        for (const auto& message : model_[at(queue)].boxes[box].messages)
          if (message.holder < 0) answers.model += message.body + ",";
        for (const std::string& body : bodies(u"DIRECT=OS:" + path(queue) + (box == 1 ? u";JOURNAL" : u"")))
          answers.service += body + ",";
      }
    return answers;
  }

 private:
  static std::size_t at(int index) { return static_cast<std::size_t>(index); }
  static std::u16string path(int queue) { return queue == 0 ? u".\\PRIVATE$\\Model" : u".\\Plain"; }
  int pick(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }
  template <class Work>
  static std::string answerOf(Work&& work) {
    try {
      return work();
    } catch (const Error& error) {
      return "error " + std::to_string(error.number());
    }
  }
  static std::string errorText(HRESULT number) { return "error " + std::to_string(number); }

  Answers sending() {
    const int queue = pick(queueCount);
    const int given = pick(transactionCount + 2);  // a transaction, one alone, none
    const std::string body =
        std::to_string(++sent_) + std::string(at(pick(5) == 0 ? pick(900) : pick(20)), '.');
    ModelQueue& model = model_[at(queue)];
    Answers answers{"send to " + std::to_string(queue) + " in " + std::to_string(given), "sent", ""};
    In transaction = given < transactionCount ? argument(given) : given == transactionCount ? alone() : In();
    const bool isInTransaction = given < transactionCount && transactions_[at(given)].isOpen;
    const bool hasTransaction = isInTransaction || given == transactionCount;
    if (model.isTransactional != hasTransaction) {
      answers.model = errorText(MQ_ERROR_TRANSACTION_USAGE);
    } else if (isInTransaction) {
      std::size_t size = body.size();
      for (const auto& [other, kept] : transactions_[at(given)].sent)
        if (other == queue) size += kept.size();
      if (model.fits(size))
        transactions_[at(given)].sent.emplace_back(queue, body);
      else
        answers.model = errorText(MQ_ERROR_INSUFFICIENT_RESOURCES);
    } else if (model.fits(body.size())) {
      model.put(body);
    } else {
      answers.model = errorText(MQ_ERROR_INSUFFICIENT_RESOURCES);
    }
    answers.service = answerOf([&] { return send(senders_[at(queue)], body, transaction), "sent"; });
    return answers;
  }
  // A transaction that is not open counts as none.
  In argument(int transaction) {
    return transactions_[at(transaction)].isOpen ? In(real_[at(transaction)]) : In();
  }

  Answers receiving() {
    const int which = pick(handleCount);
    const bool isAtCursor = pick(2) == 0;
    const int given = pick(transactionCount + 1);
    ModelHandle& handle = handles_[at(which)];
    ModelQueue& queue = model_[at(handle.queue)];
    const bool isInTransaction = given < transactionCount && transactions_[at(given)].isOpen;
    Answers answers{std::string(isAtCursor ? "receive current" : "receive") + " with " +
                        std::to_string(which) + " in " + std::to_string(given),
                    "(none)", ""};
    if (isInTransaction && !queue.isTransactional) {
      answers.model = errorText(MQ_ERROR_TRANSACTION_USAGE);
    } else {
      const bool isExact = isAtCursor && handle.state == ModelHandle::State::On;
      const ModelMessage* found = isExact
                                      ? queue.boxes[handle.box].visibleAt(handle.place)
                                      : queue.boxes[handle.box].visibleBehind(isAtCursor ? handle.place : 0);
      if (found != nullptr) {
        answers.model = found->body;
        const long place = found->place;
        if (isAtCursor) handle.state = ModelHandle::State::Behind, handle.place = place;
        if (isInTransaction) {
          const_cast<ModelMessage*>(found)->holder = given;
          transactions_[at(given)].taken.push_back({handle.queue, handle.box, place});
        } else {
          queue.take(handle.box, place);
        }
      } else if (isExact) {
        answers.model = errorText(MQ_ERROR_MESSAGE_ALREADY_RECEIVED);
      }
    }
    In transaction = isInTransaction ? argument(given) : In();
    answers.service = answerOf([&] {
      return bodyOf(isAtCursor ? receiveCurrent(receivers_[at(which)], transaction)
                               : receive(receivers_[at(which)], transaction));
    });
    return answers;
  }

  Answers browsing() {
    const int which = pick(handleCount);
    ModelHandle& handle = handles_[at(which)];
    const ModelBox& box = model_[at(handle.queue)].boxes[handle.box];
    const auto& queue = receivers_[at(which)];
    using State = ModelHandle::State;
    const auto found = [&](const ModelMessage* message) {
      if (message == nullptr) return std::string("(none)");
      handle.state = State::On;
      handle.place = message->place;
      return message->body;
    };
    switch (pick(5)) {
      case 0:
        handle.state = State::BeforeFirst;
        handle.place = 0;
        return {"reset " + std::to_string(which), "", answerOf([&] { return reset(queue), ""; })};
      case 1: {
        const ModelMessage* message = box.visibleBehind(0);
        return {"peek " + std::to_string(which), message == nullptr ? "(none)" : message->body,
                answerOf([&] { return bodyOf(peek(queue)); })};
      }
      case 2: {
        Answers answers{"peek current " + std::to_string(which), "", ""};
        if (handle.state == State::On && box.visibleAt(handle.place) == nullptr)
          answers.model = errorText(MQ_ERROR_MESSAGE_ALREADY_RECEIVED);
        else
          answers.model = found(handle.state == State::On ? box.visibleAt(handle.place)
                                                          : box.visibleBehind(handle.place));
        answers.service = answerOf([&] { return bodyOf(peekCurrent(queue)); });
        return answers;
      }
      default: {
        Answers answers{"peek next " + std::to_string(which), "", ""};
        if (handle.state == State::BeforeFirst) {
          answers.model = errorText(MQ_ERROR_ILLEGAL_CURSOR_ACTION);
        } else {
          const ModelMessage* next = box.visibleBehind(handle.place);
          if (handle.state == State::Behind && next != nullptr) next = box.visibleBehind(next->place);
          answers.model = found(next);
        }
        answers.service = answerOf([&] { return bodyOf(peekNext(queue)); });
        return answers;
      }
    }
  }

  Answers transacting() {
    const int which = pick(transactionCount);
    ModelTransaction& model = transactions_[at(which)];
    Ref<IMSMQTransaction>& real = real_[at(which)];
    if (!model.isOpen) {
      model.isOpen = true;
      real = begin();
      return {"begin", "", ""};
    }
    const int what = pick(8);
    if (what < 3) return {"go on", "", ""};
    if (what < 6) {
      Answers answers{"commit " + std::to_string(which), "committed", ""};
      const auto before = model_;
      for (const auto& [queue, box, place] : model.taken) model_[at(queue)].take(box, place);
      for (const auto& [queue, body] : model.sent) {
        if (model_[at(queue)].fits(body.size())) {
          model_[at(queue)].put(body);
          continue;
        }
        answers.model = errorText(MQ_ERROR_INSUFFICIENT_RESOURCES);
        model_ = before;
        break;
      }
      answers.service = answerOf([&] { return commit(real), "committed"; });
      if (answers.model == "committed") model = {};
      return answers;
    }
    release(which);
    if (what == 6) return {"abort " + std::to_string(which), "", answerOf([&] { return abort(real), ""; })};
    real = nullptr;  // forgotten
    return {"forget " + std::to_string(which), "", ""};
  }
  void release(int which) {
    for (const auto& [queue, box, place] : transactions_[at(which)].taken)
      for (auto& message : model_[at(queue)].boxes[box].messages)
        if (message.place == place) message.holder = -1;
    transactions_[at(which)] = {};
  }

  Answers settings() {
    const int queue = pick(queueCount);
    ModelQueue& model = model_[at(queue)];
    model.keepsJournal = pick(3) > 0;
    model.quota = pick(2) == 0 ? -1 : pick(12);
    model.journalQuota = pick(2) == 0 ? -1 : pick(6);
    model.trim();
    return {"settings of " + std::to_string(queue), "", answerOf([&] {
              const auto info = settingsOf(senders_[at(queue)]);
              call<&IMSMQQueueInfo::put_Journal>(info, model.keepsJournal ? MQ_JOURNAL : MQ_JOURNAL_NONE);
              call<&IMSMQQueueInfo::put_Quota>(info, static_cast<LONG>(model.quota));
              call<&IMSMQQueueInfo::put_JournalQuota>(info, static_cast<LONG>(model.journalQuota));
              call<&IMSMQQueueInfo::raw_Update>(info);
              return "";
            })};
  }

  std::mt19937 random_;
  std::vector<ModelQueue> model_;
  std::vector<ModelTransaction> transactions_;
  std::vector<ModelHandle> handles_;
  std::vector<Ref<IMSMQQueue>> senders_;
  std::vector<Ref<IMSMQQueue>> receivers_;
  std::vector<Ref<IMSMQTransaction>> real_;
  int sent_ = 0;
};

void runSchedule(unsigned seed) {
  constexpr int steps = 2000;
  if (std::filesystem::exists("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);  // nothing here is about the disk
  const Installation home;
  Schedule schedule(seed);
  std::deque<std::string> trail;
  for (int step = 0; step < steps; ++step) {
    const auto [operation, model, service] = step % 250 == 249 ? schedule.everything() : schedule.step();
    trail.push_back(operation + " -> " + service.substr(0, 60));
    if (trail.size() > 25) trail.pop_front();
    if (model == service) continue;
    std::string last;
    for (const std::string& line : trail) last += line + "\n";
    FAIL() << "CORVANE_SEED=" << seed << ", step " << step << ": " << operation << "\nmodel:   " << model
           << "\nservice: " << service << "\nthe last steps:\n"
           << last;
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
