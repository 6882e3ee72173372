// Processes at work on the queue service are killed at random points, and an outside ledger tells
// afterwards whether anything was lost, doubled or half done. More kills: CORVANE_KILLS=2000
#include "Expect.h"
#include "Installation.h"
#include "Queuing.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <map>
#include <random>
#include <set>
#include <sstream>

namespace {

using namespace queuing;

constexpr const char16_t* inPath = u".\\PRIVATE$\\In";  // keeps a journal
constexpr const char16_t* outPath = u".\\PRIVATE$\\Out";
constexpr const char16_t* inFormat = u"DIRECT=OS:.\\PRIVATE$\\In";
constexpr const char16_t* journalFormat = u"DIRECT=OS:.\\PRIVATE$\\In;JOURNAL";
constexpr const char16_t* outFormat = u"DIRECT=OS:.\\PRIVATE$\\Out";

// One incarnation of a worker. It notes what it is about to do, and that it is done.
class Worker {
 public:
  Worker(int number, const std::filesystem::path& ledger)
      : name_(std::to_string(number)),
        random_(static_cast<unsigned>(number)),
        ledger_(::open(ledger.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0600)),
        in_(open(inPath, MQ_SEND_ACCESS)),
        out_(open(outPath, MQ_SEND_ACCESS)),
        inReceiver_(open(inPath, MQ_RECEIVE_ACCESS)),
        outReceiver_(open(outPath, MQ_RECEIVE_ACCESS)) {}

  [[noreturn]] void work() {
    for (;;) switch (random_() % 8) {
        case 0:
        case 1:
        case 2: send(); break;
        case 3:
        case 4: transfer(); break;
        case 5: receiveOut(); break;
        case 6: acknowledgeOut(); break;
        case 7:
          if (random_() % 10 == 0) purgeOut();
          break;
      }
  }

 private:
  void note(const std::string& what) {
    const std::string line = what + "\n";
    if (::write(ledger_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) _exit(3);
  }
  void send() {
    const std::string body = name_ + "." + std::to_string(++sent_);
    note("sending " + body);
    queuing::send(in_, body, alone(), fromUtf8(body));
    note("sent " + body);
  }
  // From one queue into the other, two at a time, or not at all.
  void transfer() {
    const auto work = begin();
    std::string moved;
    for (int i = 0; i < 2; ++i) {
      const auto message = receive(inReceiver_, work);
      if (!message) break;
      const std::string body = bodyOf(message);
      queuing::send(out_, body, work, fromUtf8(body));
      moved += " " + body;
    }
    note("moving" + moved);
    if (random_() % 5 == 0) return abort(work), note("left" + moved);
    commit(work);
    note("moved" + moved);
  }
  void receiveOut() {
    note("taking ?");
    const auto message = receive(outReceiver_);
    note(message ? "took " + bodyOf(message) : "took nothing");
  }
  void acknowledgeOut() {
    reset(outReceiver_);
    auto message = peekCurrent(outReceiver_);
    for (unsigned skip = random_() % 4; message && skip > 0; --skip) message = peekNext(outReceiver_);
    if (!message) return;
    const std::string body = bodyOf(message);
    note("taking " + body);
    try {
      receiveCurrent(outReceiver_, In(MQ_NO_TRANSACTION));
      note("took " + body);
    } catch (const Error& error) {
      if (error.number() != MQ_ERROR_MESSAGE_ALREADY_RECEIVED) throw;
      note("took nothing");
    }
  }
  void purgeOut() {
    reset(outReceiver_);
    const auto work = begin();
    std::string all;
    while (const auto message = receiveCurrent(outReceiver_, work))
      all += " " + toUtf8(call<&IMSMQMessage::get_Label>(message));
    note("taking" + all);
    commit(work);
    note("took" + all);
  }

  std::string name_;
  std::mt19937 random_;
  int ledger_;
  Ref<IMSMQQueue> in_, out_, inReceiver_, outReceiver_;
  int sent_ = 0;
};

pid_t startWorker(int number, const Installation& home) {
  const pid_t process = fork();
  if (process != 0) return process;
  try {
    Worker(number, home.file(("ledger-" + std::to_string(number)).c_str())).work();
  } catch (const Error& error) {
    std::fprintf(stderr, "worker %d: %s\n", number, error.what());
  }
  _exit(1);
}

using Count = std::map<std::string, int>;
Count counted(const std::vector<std::string>& bodies) {
  Count count;
  for (const std::string& body : bodies) ++count[body];
  return count;
}

// What the ledgers say: what surely happened, and what a killed worker was about to do.
struct Ledger {
  std::set<std::string> sent, maybeSent, moved, took;
  std::vector<std::vector<std::string>> maybeMoved, maybeTaken;
  int unknownTakings = 0;
  int doubles = 0;

  void read(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::vector<std::string> open;
    std::string verb;
    for (std::string line; std::getline(stream, line);) {
      std::istringstream words(line);
      words >> verb;
      open.assign(std::istream_iterator<std::string>(words), {});
      if (verb == "sent") sent.insert(open.begin(), open.end());
      if (verb == "moved")
        for (const auto& body : open) doubles += moved.insert(body).second ? 0 : 1;
      if (verb == "took" && (open.empty() || open[0] != "nothing"))
        for (const auto& body : open) doubles += took.insert(body).second ? 0 : 1;
    }
    if (verb == "sending") maybeSent.insert(open.begin(), open.end());
    if (verb == "moving") maybeMoved.push_back(open);
    if (verb != "taking") return;
    if (open == std::vector<std::string>{"?"})
      ++unknownTakings;
    else
      maybeTaken.push_back(open);
  }
};

TEST(QueueCrash, LosesDoublesAndHalvesNothing) {
  const Installation home;
  const char* wanted = std::getenv("CORVANE_KILLS");
  const int kills = wanted != nullptr ? std::atoi(wanted) : 200;
  const pid_t maker = fork();
  if (maker == 0) {
    createQueue(inPath);
    createQueue(outPath);
    const auto info = infoOf(inPath);
    call<&IMSMQQueueInfo::put_Journal>(info, MQ_JOURNAL);
    call<&IMSMQQueueInfo::raw_Update>(info);
    _exit(0);
  }
  int status = 0;
  waitpid(maker, &status, 0);
  ASSERT_EQ(status, 0);

  constexpr int workerCount = 4;
  std::mt19937 random(static_cast<unsigned>(getpid()));
  int number = 0;
  std::vector<pid_t> workers;
  for (int i = 0; i < workerCount; ++i) workers.push_back(startWorker(++number, home));
  for (int kill = 0; kill < kills + workerCount; ++kill) {
    usleep(static_cast<useconds_t>(random() % 40'000));
    pid_t& worker = workers[kill < kills ? random() % workerCount : static_cast<unsigned>(kill - kills)];
    ::kill(worker, SIGKILL);
    waitpid(worker, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "a worker gave up";
    if (kill < kills) worker = startWorker(++number, home);
  }

  Ledger ledger;
  for (int i = 1; i <= number; ++i) ledger.read(home.file(("ledger-" + std::to_string(i)).c_str()));
  const auto waiting = bodies(inFormat);
  const auto journal = bodies(journalFormat);
  const auto out = bodies(outFormat);
  const Count inWaiting = counted(waiting);
  const Count inJournal = counted(journal);
  const Count inOut = counted(out);
  RecordProperty("sent", static_cast<int>(ledger.sent.size()));
  EXPECT_GT(ledger.moved.size(), 0u);
  EXPECT_EQ(ledger.doubles, 0);

  // Sent is either waiting or journaled, once; nothing else is there.
  std::set<std::string> all = ledger.sent;
  all.insert(ledger.maybeSent.begin(), ledger.maybeSent.end());
  for (const std::string& body : all) {
    const int times = (inWaiting.contains(body) ? inWaiting.at(body) : 0) +
                      (inJournal.contains(body) ? inJournal.at(body) : 0);
    if (ledger.sent.contains(body))
      EXPECT_EQ(times, 1) << body;
    else
      EXPECT_LE(times, 1) << body;
  }
  for (const auto* place : {&waiting, &journal, &out})
    for (const std::string& body : *place) EXPECT_TRUE(all.contains(body)) << body;

  // What left the first queue came to the other, all of a transaction or nothing.
  for (const std::string& body : ledger.moved) EXPECT_TRUE(inJournal.contains(body)) << body;
  std::set<std::string> maybeMoved;
  for (const auto& together : ledger.maybeMoved) {
    std::set<bool> isMoved;
    for (const std::string& body : together) {
      maybeMoved.insert(body);
      isMoved.insert(inJournal.contains(body));
    }
    EXPECT_LE(isMoved.size(), 1u) << "half a transaction";
  }
  std::set<std::string> maybeTaken;
  for (const auto& together : ledger.maybeTaken) maybeTaken.insert(together.begin(), together.end());
  int missing = 0;
  for (const auto& [body, times] : inJournal) {
    EXPECT_TRUE(ledger.moved.contains(body) || maybeMoved.contains(body)) << body << " left unasked";
    const int here = inOut.contains(body) ? inOut.at(body) : 0;
    EXPECT_LE(here, 1) << body;
    if (ledger.took.contains(body)) {
      EXPECT_EQ(here, 0) << body << " was taken and is still there";
    } else if (here == 0 && !maybeTaken.contains(body)) {
      ++missing;
    }
  }
  // A purge of which something is still there was not committed: what else of it is gone, is missing.
  for (const auto& together : ledger.maybeTaken)
    if (std::ranges::any_of(together, [&](const auto& body) { return inOut.contains(body); }))
      for (const std::string& body : together)
        if (!ledger.took.contains(body) && !inOut.contains(body)) ++missing;
  for (const auto& [body, times] : inOut) EXPECT_TRUE(inJournal.contains(body)) << body;
  // Outside of a transaction a receiver may die with what it has just received, one each.
  EXPECT_LE(missing, ledger.unknownTakings);
}

}  // namespace
