// Senders and receivers that are killed at any point of their work, handlers that throw, and what happens to
// stores: they are copied and put back, queues are deleted and made again, the disk fills and empties.
#include "Expect.h"
#include "Faults.h"
#include "Processes.h"
#include "Queuing.h"
#include "Stores.h"

#include <CorvaneQueue/storeCheck.h>

#include <fcntl.h>
#include <algorithm>
#include <csignal>
#include <map>
#include <random>
#include <set>

namespace {

using namespace stores;
namespace fs = std::filesystem;

// What the processes did, in order, a line each: (a)ttempts to send, (s)ent, (r)eceived, (t)hrown at, (T) the
// throw has come back, ac(k)nowledged; of the test itself, (d)eleted.
class Ledger {
 public:
  void tell(char what, const std::string& name) const {
    const std::string line = what + name + "\n";
    const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    const bool isTold =
        file >= 0 && real(file, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    ::close(file);
    if (!isTold) _exit(2);
  }
  template <class Reader>
  void read(Reader&& reader) const {
    std::ifstream lines(path_);
    for (std::string line; std::getline(lines, line);) reader(line[0], line.substr(1));
  }
  std::uintmax_t size() const { return fs::exists(path_) ? fs::file_size(path_) : 0; }
  void cutTo(std::uintmax_t size) const {
    if (fs::exists(path_)) fs::resize_file(path_, size);
  }

 private:
  // Its own disk is never full.
  static inline auto* const real = faults::next<ssize_t(int, const void*, size_t)>("write");
  fs::path path_ = fs::temp_directory_path() / ("corvane-ledger-" + std::to_string(getpid()));
};

class Soak : public ::testing::TestWithParam<Store> {
 protected:
  static constexpr int workers = 5;  // two senders, three receivers
  static std::string nameIn(const std::string& document) { return document.substr(0, document.find('.')); }
  bool isDatabase() const { return GetParam() == Store::Database; }
  Queue open() const { return openQueue(GetParam(), "Orders"); }

  void send(int life) const {
    Queue queue;
    for (int i = 0;; ++i) {
      const std::string name = std::to_string(life) + "-" + std::to_string(i);
      ledger.tell('a', name);
      try {
        if (!queue) queue = open();
        const bool isInTransaction = i % 3 == 0;
        if (isInTransaction) queue->BeginTransaction();
        queue->SendDocument(name + std::string(static_cast<std::size_t>(i % 7) * 3000, '.'));
        if (isInTransaction) queue->Commit();
        ledger.tell('s', name);
      } catch (const Error&) {  // a full disk, a queue that is gone
        queue = {};
        usleep(10'000);
      }
      usleep(2000);
    }
  }
  // Its handler throws at every fifth document, once in the life of this process.
  void receive() const {
    std::set<std::string> thrownAt;
    const auto handle = [&](const std::string& document) {
      const std::string name = nameIn(document);
      ledger.tell('r', name);
      if (std::hash<std::string>()(name) % 5 != 0 || !thrownAt.insert(name).second) return;
      ledger.tell('t', name);
      throw std::runtime_error("thrown at " + name + ".");
    };
    std::optional<Receiver> documents;
    while (true) try {
        if (!documents) documents.emplace(GetParam(), open(), handle);
        if (const auto document = documents->take(1s)) ledger.tell('k', nameIn(*document));
      } catch (const Error&) {
        documents.reset();
        usleep(10'000);
      } catch (const std::runtime_error& failure) {
        ledger.tell('T', std::string(failure.what()).substr(10));
        documents->putBack();
      }
  }

  void start(std::size_t worker) {
    const int life = lives++;
    crew.resize(workers);
    crew[worker] = inProcess([&] { worker < 2 ? send(life) : receive(); });
  }
  void startAll() {
    for (std::size_t worker = 0; worker < workers; ++worker) start(worker);
  }
  void stop(std::size_t worker) {
    kill(crew[worker], SIGKILL);
    EXPECT_EQ(endOf(crew[worker]), SIGKILL) << "it ended by itself";
  }
  void stopAll() {
    for (std::size_t worker = 0; worker < workers; ++worker) stop(worker);
  }
  void workFor(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
      usleep(static_cast<useconds_t>(random() % 300'000));
      const std::size_t worker = random() % workers;
      stop(worker);
      start(worker);
    }
  }
  // Whoever works on this queue has to notice.
  void deleteQueue() {
    ASSERT_TRUE(succeeded(inProcess([&] {
      call<&IMSMQQueueInfo::raw_Delete>(queuing::infoOf(u".\\Orders"));
      ledger.tell('d', "");
      open();
    })));
  }
  void fillDisk() {
    faults::room() = static_cast<long long>(random() % 100'000);
    workFor(1s);
    faults::room() = -1;
  }
  // While nobody works. The log of those who were killed is taken up, or removed as the guide says.
  void putCopyBack() {
    stopAll();
    ASSERT_TRUE(succeeded(inProcess([&] { listed("Orders")->Messages(); })));
    const fs::path copy = home.directory().string() + "-copy";
    fs::copy(home.directory(), copy, fs::copy_options::recursive);
    const auto copied = ledger.size();
    startAll();
    workFor(600ms);
    stopAll();
    fs::copy(copy, home.directory(), fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    for (const char* log : {"messages.db-wal", "queues.db-wal", "msmq/storage/queues.db-wal"})
      if (!fs::exists(copy / log)) fs::remove(home.file(log));
    fs::remove_all(copy);
    ledger.cutTo(copied);
    startAll();
  }
  // Takes everything, empties the journal and compares it with what was told.
  void settle() {
    const fs::path names = home.file("journal");
    ASSERT_TRUE(succeeded(inProcess([&] {
      Receiver documents(GetParam(), open());
      while (documents.take(500ms)) {
      }
      if (!waiting("Orders").empty()) throw std::runtime_error("documents stay behind");
      std::ofstream list(names);
      for (const auto& document : journaled("Orders")) list << nameIn(document) << '\n';
      if (const auto report = checkStore(StoreCheck::Thorough); !report.findings.empty())
        throw std::runtime_error("the store is damaged: " + toUtf8(report.findings.front()));
      listed("Orders")->Journal()->Purge();
    })));
    std::map<std::string, int> journal;
    std::ifstream list(names);
    for (std::string name; std::getline(list, name);) ++journal[name];
    std::map<std::string, std::string> history;
    ledger.read([&](char what, const std::string& name) {
      if (what != 'd')
        history[name] += what;
      else
        for (auto& [document, events] : history) events += what;
    });
    for (const auto& [name, times] : journal) EXPECT_TRUE(times == 1 && history.contains(name)) << name;
    for (const auto& [name, told] : history) {
      const std::string& events = told;
      const auto has = [&](char what) { return events.find(what) != std::string::npos; };
      EXPECT_TRUE(!has('s') || has('d') || journal.contains(name)) << name << " is lost: " << events;
      // Once acknowledged it is announced to nobody.
      if (const auto end = events.find('k'); end != std::string::npos) {
        EXPECT_EQ(events.find_first_of("rk", end + 1), std::string::npos) << name << ' ' << events;
      }
      sent += has('s') ? 1 : 0;
      again += std::count(events.begin(), events.end(), 'r') > 1 ? 1 : 0;
      thrown += std::count(events.begin(), events.end(), 't');
      caught += std::count(events.begin(), events.end(), 'T');
    }
    ledger.cutTo(0);
  }

  Installation home{settingsOf(GetParam())};
  Ledger ledger;
  std::mt19937 random{4711};
  std::vector<pid_t> crew;
  int lives = 0;
  std::ptrdiff_t sent = 0, again = 0, thrown = 0, caught = 0;
};
INSTANTIATE_TEST_SUITE_P(Stores, Soak, ::testing::Values(Store::Database, Store::MessageQueuing),
                         [](const auto& each) { return nameOf(each.param); });

// CORVANE_SOAK=600 lets them work for ten minutes.
TEST_P(Soak, LosesAndDoublesNothing) {
  const char* const seconds = std::getenv("CORVANE_SOAK");
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 20);
  int rounds = 0;
  do {
    startAll();
    workFor(1s);
    fillDisk();
    if (!isDatabase()) deleteQueue();
    workFor(1s);
    putCopyBack();
    workFor(1s);
    stopAll();
    settle();
    ++rounds;
  } while (!HasFatalFailure() && std::chrono::steady_clock::now() < end);
  EXPECT_GT(sent, 100);
  // Each failed handler is in the log once.
  std::ptrdiff_t logged = 0;
  std::ifstream log(home.file("log/corvane.log"));
  for (std::string line; std::getline(log, line);)
    logged += line.find("thrown at ") != std::string::npos ? 1 : 0;
  EXPECT_GE(logged, isDatabase() ? 0 : caught);
  EXPECT_LE(logged, thrown);
  std::printf("%s: %d rounds, %d lives, %td sent, %td announced again, %td throws\n",
              nameOf(GetParam()).c_str(), rounds, lives, sent, again, thrown);
}

}  // namespace
