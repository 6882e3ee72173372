// Processes that carry tokens from one queue to the other are killed at random points: a token that is lost
// or doubled afterwards tells of half a transaction. More kills: CORVANE_KILLS=2000
#include "Expect.h"
#include "Installation.h"
#include "Processes.h"
#include "Queuing.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <random>
#include <set>
#include <sstream>

namespace {

using namespace queuing;

constexpr const char16_t* paths[] = {u".\\PRIVATE$\\Left", u".\\PRIVATE$\\Right"};
constexpr int tokenCount = 300;
constexpr std::size_t mostInABundle = 3;
constexpr unsigned workerCount = 4;

// In the memory of all processes.
struct Shared {
  std::atomic<unsigned> commits;
  char atRisk[workerCount][64];  // the body that would die with a worker
};

std::vector<std::string> tokensIn(const std::string& body) {
  std::istringstream words(body);
  return {std::istream_iterator<std::string>(words), {}};
}

// One that somebody else has taken for good has none.
std::string wholeBodyOf(const Ref<IMSMQMessage>& message) {
  const std::string body = bodyOf(message);
  if (tokensIn(body).empty()) throw std::runtime_error("a message without its body");
  return body;
}

class Worker {
 public:
  Worker(Shared& shared, unsigned number, unsigned seed)
      : commits_(shared.commits), atRisk_(shared.atRisk[number]), random_(seed) {
    for (const char16_t* path : paths) {
      senders_.push_back(open(path, MQ_SEND_ACCESS));
      receivers_.push_back(open(path, MQ_RECEIVE_ACCESS));
    }
  }
  [[noreturn]] void work() {
    while (true) {
      const unsigned from = random_() % 2;
      reset(receivers_[from]);
      if (random_() % 12 == 0)
        putBack(receivers_[from], senders_[from]);
      else
        carry(receivers_[from], senders_[1 - from], random_() % 20 == 0 ? tokenCount : random_() % 4);
    }
  }

 private:
  // That many messages, bundled into one or each token by itself; or none of them.
  void carry(const Ref<IMSMQQueue>& from, const Ref<IMSMQQueue>& to, unsigned count) {
    const auto work = begin();
    const bool isAtCursor = random_() % 2 == 0;
    std::string bundle;
    for (unsigned i = 0; i < count; ++i)
      if (const auto message = isAtCursor ? receiveCurrent(from, work) : receive(from, work))
        bundle += wholeBodyOf(message) + " ";
    auto tokens = tokensIn(bundle);
    if (!tokens.empty() && tokens.size() <= mostInABundle) tokens = {bundle};
    for (const std::string& body : tokens) send(to, body, work);
    if (random_() % 5 == 0) return abort(work);
    commit(work);
    ++commits_;
  }
  // Outside of a transaction, a message at the cursor.
  void putBack(const Ref<IMSMQQueue>& from, const Ref<IMSMQQueue>& back) {
    auto message = peekCurrent(from);
    for (unsigned skip = random_() % 4; message && skip > 0; --skip) message = peekNext(from);
    if (!message) return;
    const std::string body = bodyOf(message);
    body.copy(atRisk_, body.size());
    const auto error = errorOf([&] {
      if (wholeBodyOf(receiveCurrent(from, In(MQ_NO_TRANSACTION))) != body)
        throw std::runtime_error("not the message at the cursor");
    });
    if (!error)
      send(back, body);
    else if (error->number() != MQ_ERROR_MESSAGE_ALREADY_RECEIVED)
      throw *error;
    std::fill_n(atRisk_, sizeof Shared::atRisk[0], '\0');
  }

  std::atomic<unsigned>& commits_;
  char* atRisk_;
  std::mt19937 random_;
  std::vector<Ref<IMSMQQueue>> senders_, receivers_;
};

TEST(QueueCrash, LosesDoublesAndHalvesNothing) {
  const Installation home;
  const char* const asked = std::getenv("CORVANE_KILLS");
  const unsigned kills = asked != nullptr ? static_cast<unsigned>(std::atoi(asked)) : 200;
  ASSERT_TRUE(succeeded(inProcess([] {  // this process opens no store before the others
    for (const char16_t* path : paths) createQueue(path);
    for (int i = 0; i < tokenCount; ++i) send(open(paths[i % 2], MQ_SEND_ACCESS), std::to_string(i));
  })));
  const InAllProcesses<Shared> shared;
  std::mt19937 random(std::random_device{}());
  const auto start = [&](unsigned number, unsigned life) {
    return inProcess(
        [](const Arguments& given) {
          const InAllProcesses<Shared> ofAll(given[0]);
          const auto wanted = [&](std::size_t i) { return static_cast<unsigned>(std::stoul(given[i])); };
          Worker(*ofAll, wanted(1), wanted(2)).work();
        },
        {shared.name(), std::to_string(number), std::to_string(life)});
  };
  std::vector<Child> workers;
  for (unsigned number = 0; number < workerCount; ++number) workers.push_back(start(number, number));
  std::set<std::string> mayBeLost;
  for (unsigned kill = 0; kill < kills + workerCount; ++kill) {
    pauseFor(std::chrono::microseconds(random() % (4 * timeToStart).count()));
    const unsigned number = kill < kills ? random() % workerCount : kill - kills;
    ASSERT_TRUE(killed(workers[number])) << "a worker gave up";
    for (const auto& token : tokensIn(shared->atRisk[number])) mayBeLost.insert(token);
    std::ranges::fill(shared->atRisk[number], '\0');
    if (kill < kills) workers[number] = start(number, workerCount + kill);
  }

  std::map<std::string, int> found;
  for (const char16_t* path : paths)
    for (const auto& body : bodies(std::u16string(u"DIRECT=OS:") + path))
      for (const auto& token : tokensIn(body)) ++found[token];
  for (int i = 0; i < tokenCount; ++i) {
    const std::string token = std::to_string(i);
    const int times = found.contains(token) ? found[token] : 0;
    EXPECT_TRUE(times == 1 || (times == 0 && mayBeLost.contains(token))) << token << ": " << times;
  }
  EXPECT_GT(shared->commits, kills);
}

TEST(QueueCrash, AFileTellsOfEachQueueAndIsMended) {
  const Installation home;
  createQueue(u".\\PRIVATE$\\Orders");
  createQueue(u".\\Plain", Transactional::No);
  const auto lqs = home.file("msmq/storage/lqs");
  const auto contents = [&] {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(lqs))
      found.insert(home.read(entry.path().string().c_str()));
    return found;
  };
  const auto two = contents();
  ASSERT_EQ(two.size(), 2u);
  EXPECT_NE(two.begin()->find("QueueName=Plain\r\n"), std::string::npos) << *two.begin();
  EXPECT_NE(two.rbegin()->find("[Properties]\r\nSystemQueue=00\r\nQueueName=\\private$\\Orders\r\n"),
            std::string::npos)
      << *two.rbegin();
  EXPECT_NE(home.read("registry.toml").find("StorePersistentPath"), std::string::npos);
  call<&IMSMQQueueInfo::raw_Delete>(infoOf(u".\\Plain"));
  EXPECT_EQ(contents(), std::set{*two.rbegin()});
  // A process that died between the store and the file: the next one mends it.
  std::filesystem::remove_all(lqs);
  std::filesystem::create_directory(lqs);
  std::ofstream(lqs / "0000abcd", std::ios::binary) << "[Properties]\r\nleft over";
  std::ofstream(lqs / "deadbeef") << "somebody else's";
  EXPECT_TRUE(open(u".\\PRIVATE$\\Orders", MQ_PEEK_ACCESS));
  EXPECT_EQ(contents(), (std::set{*two.rbegin(), std::string("somebody else's")}));
}

}  // namespace
