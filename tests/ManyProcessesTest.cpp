// Many processes on one queue, and processes that are killed at any point of their work.
#include "Expect.h"
#include "Stores.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <csignal>
#include <map>
#include <random>
#include <sstream>

namespace {

using namespace stores;

// Runs the body in a process of its own; it fails when the body throws.
template <class Body>
pid_t inProcess(Body&& body) {
  const pid_t child = fork();
  if (child != 0) return child;
  try {
    body();
    _exit(0);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  _exit(1);
}
bool succeeded(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && status == 0;
}

class ManyProcesses : public ::testing::TestWithParam<Store> {
 protected:
  Queue open() { return openQueue(GetParam(), "Orders"); }
  // How often each name, which the documents carry as MsgID, is in a list.
  static void count(const Messages& messages, std::map<std::string, int>& names) {
    messages->Refresh();
    if (messages->Count() == 0) return;
    for (const auto& message : messages) {
      const std::string label = toUtf8(message->Label());
      ++names[label.substr(8, label.size() - 10)];  // between "MsgID: <" and "> "
    }
  }
  Installation home{settingsOf(GetParam())};
};
INSTANTIATE_TEST_SUITE_P(Stores, ManyProcesses, ::testing::Values(Store::Database, Store::MessageQueuing),
                         [](const auto& each) { return nameOf(each.param); });

TEST_P(ManyProcesses, SendAndReceiveWithNothingLostOrDoubled) {
  constexpr int senders = 3;
  constexpr int each = 150;
  std::vector<pid_t> children;
  for (int sender = 0; sender < senders; ++sender)
    children.push_back(inProcess([&] {
      auto queue = open();
      for (int i = 0; i < each; ++i) {
        queue->MsgID(std::to_string(sender) + "-" + std::to_string(i));
        queue->SendDocument("document");
      }
    }));
  for (int receiver = 0; receiver < 2; ++receiver)
    children.push_back(inProcess([&] {
      Receiver documents(GetParam(), open());
      while (documents.take(1s)) {
      }
    }));
  for (const pid_t child : children) EXPECT_TRUE(succeeded(child));
  std::map<std::string, int> waiting;
  count(listed("Orders")->Messages(), waiting);
  EXPECT_TRUE(waiting.empty());
  std::map<std::string, int> journal;
  count(listed("Orders")->Journal()->Messages(), journal);
  EXPECT_EQ(journal.size(), static_cast<std::size_t>(senders * each));
  for (const auto& [name, times] : journal) EXPECT_EQ(times, 1) << name;
}

// What the processes did, in order, written to the end of one file: (a)ttempts to send, (s)ent, (r)eceived,
// ac(k)nowledged.
class Ledger {
 public:
  explicit Ledger(const std::filesystem::path& file)
      : path_(file), file_(::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600)) {}
  ~Ledger() { ::close(file_); }
  void tell(char what, const std::string& name) const {
    const std::string line = what + name + "\n";
    if (::write(file_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) _exit(2);
  }
  template <class Reader>
  void read(Reader&& reader) const {
    std::ifstream lines(path_);
    for (std::string line; std::getline(lines, line);) reader(line[0], line.substr(1));
  }

 private:
  std::filesystem::path path_;
  int file_;
};

// CORVANE_SOAK=600 lets them work for ten minutes.
TEST_P(ManyProcesses, KilledAtAnyPointLoseAndDoubleNothing) {
  const char* const soak = std::getenv("CORVANE_SOAK");
  const auto time = std::chrono::seconds(soak != nullptr ? std::atoi(soak) : 5);
  const auto longestLife = soak != nullptr ? 5000ms : 150ms;
  const Ledger ledger(home.directory() / "ledger");
  open();  // with its journal
  const auto sender = [&](int life) {
    auto queue = open();
    for (int i = 0;; ++i) {
      const std::string name = std::to_string(life) + "-" + std::to_string(i);
      queue->MsgID(name);
      ledger.tell('a', name);
      const bool isInTransaction = i % 3 == 0;
      if (isInTransaction) queue->BeginTransaction();
      queue->SendDocument(name + std::string(static_cast<std::size_t>(i % 7) * 3000, '.'));
      if (isInTransaction) queue->Commit();
      ledger.tell('s', name);
      if (soak != nullptr) usleep(5000);
    }
  };
  const auto receiver = [&](int) {
    const auto nameOf = [](const std::string& document) { return document.substr(0, document.find('.')); };
    Receiver documents(GetParam(), open(),
                       [&](const std::string& document) { ledger.tell('r', nameOf(document)); });
    while (true)
      if (const auto document = documents.take(1s)) ledger.tell('k', nameOf(*document));
  };
  int lives = 0;
  const auto start = [&](int worker) {
    const int life = lives++;
    return inProcess([&] { worker < 2 ? sender(life) : receiver(life); });
  };
  std::vector<pid_t> workers;
  for (int worker = 0; worker < 4; ++worker) workers.push_back(start(worker));
  std::mt19937 random(4711);
  const auto stop = [&](pid_t worker) {
    kill(worker, SIGKILL);
    int status = 0;
    waitpid(worker, &status, 0);
    EXPECT_EQ(status, SIGKILL) << "it ended by itself";
  };
  for (const auto end = std::chrono::steady_clock::now() + time; std::chrono::steady_clock::now() < end;) {
    usleep(static_cast<useconds_t>(random() %
                                   static_cast<unsigned>(std::chrono::microseconds(longestLife).count())));
    const auto worker = random() % workers.size();
    stop(workers[worker]);
    workers[worker] = start(static_cast<int>(worker));
  }
  for (const pid_t worker : workers) stop(worker);

  Receiver rest(GetParam(), open());
  int left = 0;
  while (rest.take(1s)) ++left;
  std::map<std::string, int> waiting;
  count(listed("Orders")->Messages(), waiting);
  EXPECT_TRUE(waiting.empty());
  std::map<std::string, int> journal;
  count(listed("Orders")->Journal()->Messages(), journal);
  std::map<std::string, std::string> history;
  ledger.read([&](char what, const std::string& name) { history[name] += what; });
  std::size_t sent = 0;
  std::size_t again = 0;
  for (const auto& [name, events] : history) {
    const bool isSent = events.find('s') != std::string::npos;
    sent += isSent ? 1 : 0;
    again += std::count(events.begin(), events.end(), 'r') > 1 ? 1 : 0;
    EXPECT_TRUE(!isSent || journal.contains(name)) << name;
    // Once acknowledged it is announced to nobody.
    if (const auto end = events.find('k'); end != std::string::npos) {
      EXPECT_EQ(events.find_first_of("rk", end + 1), std::string::npos) << name << ' ' << events;
    }
  }
  for (const auto& [name, times] : journal) EXPECT_TRUE(times == 1 && history.contains(name)) << name;
  EXPECT_GT(sent, 100u);
  std::printf("%s: %zu sent, %zu in the journal, %zu announced again, %d left at the end; %d lives\n",
              nameOf(GetParam()).c_str(), sent, journal.size(), again, left, lives);
}

}  // namespace
