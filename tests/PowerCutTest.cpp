// Processes at work on both stores, and the power is cut at any point: what a call has reported stays. More
// cuts: CORVANE_CUTS=5000
#include "DiskHistory.h"
#include "Expect.h"
#include "Processes.h"
#include "Queuing.h"
#include "Stores.h"

#include <gmock/gmock.h>
#include <set>

namespace {

using namespace stores;
using disk::Record;
using namespace ::testing;

int numberFrom(const char* variable, int otherwise) {
  const char* const value = std::getenv(variable);
  return value != nullptr ? std::atoi(value) : otherwise;
}
const int wantedCuts = numberFrom("CORVANE_CUTS", 200);
std::string nameIn(const std::string& body) { return body.substr(0, body.find(' ')); }
std::string bodyOf(const std::string& name) {
  constexpr std::size_t sizes[] = {20, 300, 2000, 5000, 15'000};
  const std::size_t size = sizes[std::hash<std::string>()(name) % std::size(sizes)];
  std::string body;
  while (body.size() < size) body += name + ' ';
  return body;
}

class PowerCut : public TestWithParam<Store> {
 protected:
  // Each in a process of its own; they fail when they throw.
  static void run(const std::vector<std::function<void()>>& bodies) {
    std::vector<pid_t> children;
    for (const auto& body : bodies) children.push_back(inProcess(body));
    for (const pid_t child : children) EXPECT_TRUE(succeeded(child));
  }

  // What is done is told before and, in capitals, afterwards: (s)ends and (a)cknowledgements of documents,
  // (q)ueues that are made, the setting of (p)ublic queues; and (f)ailures of sends.
  void install() {
    create<Utility>()->QueueStoreType(nameOf(GetParam()));
    make("Orders");
  }
  void set(const std::string& value) {
    history.mark("p" + value);
    create<Utility>()->UsesPublicQueues(value == "1");
    history.mark("P" + value);
  }
  void make(const std::string& queue) {
    history.mark("q" + queue);
    if (GetParam() == Store::Database) create<Utility>()->CreateQueue(queue);
    openQueue(GetParam(), queue);
    history.mark("Q" + queue);
  }
  // Every fourth time two documents in a transaction.
  void send(const std::string& who, int count, bool mayFail = false) {
    const auto queue = openQueue(GetParam(), "Orders");
    for (int i = 0; i < count; ++i) {
      Texts names{who + std::to_string(i)};
      if (i % 4 == 3) names.push_back(names[0] + "'");
      for (const auto& name : names) history.mark("s" + name);
      try {
        if (names.size() > 1) queue->BeginTransaction();
        for (const auto& name : names) queue->SendDocument(bodyOf(name));
        if (names.size() > 1) queue->Commit();
        for (const auto& name : names) history.mark("S" + name);
      } catch (const Error&) {
        if (!mayFail) throw;
        history.mark("f" + names[0]);
        errorOf([&] { queue->Abort(); });
      }
    }
  }
  void receive(int count) {
    Receiver documents(GetParam(), openQueue(GetParam(), "Orders"),
                       [&](const std::string& document) { history.mark("a" + nameIn(document)); });
    for (int i = 0; i < count; ++i)
      if (const auto document = documents.take(2s)) history.mark("A" + nameIn(*document));
  }

  // The large one fills the log, so that it is moved into the store and begun anew while others work.
  void sendAfterLarge(const std::string& who, int count) {
    make("Large");
    openQueue(GetParam(), "Large")->SendDocument(std::string(2100 * 4096, 'x'));
    send(who, count);
  }

  // What a new process finds: how often each document waits (w) or is in the journal (j), queues, settings.
  std::map<std::string, int> found() const {
    const auto file = std::filesystem::temp_directory_path() / ("found-" + std::to_string(getpid()));
    run({[&] {
      std::ofstream lines(file);
      const auto error = errorOf([&] {
        lines << (create<Utility>()->UsesPublicQueues() ? "p1\n" : "p0\n");
        create<Utility>()->UsesPublicQueues(true);
        for (const auto& queue : create<Queues>()) {
          const std::string name = toUtf8(queue->Name());
          if (GetParam() == Store::Database || queue->JournalEnabled()) lines << "q" << name << "\n";
          if (name != "Orders") continue;
          for (const bool isJournal : {false, true})
            for (const auto& body : bodiesOf(isJournal))
              lines << (body != bodyOf(nameIn(body)) ? '!' : isJournal ? 'j' : 'w') << nameIn(body) << "\n";
        }
      });
      if (error) lines << "!" << error->what() << "\n";
    }});
    std::ifstream lines(file);
    std::map<std::string, int> found;
    for (std::string line; std::getline(lines, line);) ++found[line];
    std::filesystem::remove(file);
    return found;
  }
  // On the Message Queuing store without the time that a list waits for more.
  static Texts bodiesOf(bool isJournal) {
    if (GetParam() == Store::Database) return isJournal ? journaled("Orders") : waiting("Orders");
    return queuing::bodies(isJournal ? u"DIRECT=OS:.\\Orders;JOURNAL" : u"DIRECT=OS:.\\Orders");
  }
  // What is wrong with what was found when that was told.
  static std::string judged(std::span<const Record> records, std::map<std::string, int> found) {
    std::map<std::string, std::string> told;  // of each name
    std::set<std::string> settings{"p1"};
    for (const Record& record : records) {
      if (record.kind != Record::Mark) continue;
      const std::string name(record.text.substr(1));
      told[name] += record.text[0];
      if (record.text[0] == 'P') settings.clear();
      if (told[name].find_first_of("pP") == 0) settings.insert("p" + name);
    }
    std::string wrong;
    for (const auto& each : told) {
      const std::string& name = each.first;
      const std::string& letters = each.second;
      const auto has = [&](char letter) { return letters.find(letter) != std::string::npos; };
      const int waits = found["w" + name], kept = found["j" + name], sum = waits + kept;
      const std::string other = name.substr(0, name.find('\''));
      if (sum > 1 || (sum == 0 && (has('S') || has('A'))))
        wrong += name + " " + letters + " is there " + std::to_string(sum) + " times; ";
      if ((has('A') && waits > 0) || (!has('a') && kept > 0))
        wrong += name + " " + letters + " is in the wrong list; ";
      if (sum != found["w" + other] + found["j" + other]) wrong += name + " is half a transaction; ";
      // Who finds a queue that another process is still making has stored nothing.
      const auto times = [&](char letter) { return std::ranges::count(letters, letter); };
      if (has('Q') && times('Q') == times('q') && found["q" + name] != 1)
        wrong += "the queue " + name + " is missing; ";
    }
    for (const auto& [line, times] : found)
      if (times > 0 &&
          (line[0] == 'p' ? !settings.contains(line) : line[0] == '!' || !told.contains(line.substr(1))))
        wrong += "unexpected: " + line + "; ";
    return wrong;
  }

  // Cuts the power at random points from that record on; what was wrong each time.
  enum class Syncs { Count, DoNotCount };
  Texts cut(std::size_t from, int cuts, Syncs syncs = Syncs::Count) {
    history.end();
    const auto records = history.records();
    const int seed = numberFrom("CORVANE_SEED", getpid());
    std::mt19937 random(static_cast<unsigned>(seed));
    std::vector<std::size_t> answers;  // most cuts come when something has just been told
    for (std::size_t i = from; i < records.size(); ++i)
      if (records[i].kind == Record::Mark) answers.push_back(i + 1);
    std::multiset<std::size_t> points;
    for (int i = 0; i < cuts; ++i)
      points.insert(i % 4 == 0 ? from + random() % (records.size() - from + 1)
                               : answers[random() % answers.size()]);
    disk::Disk disk;
    std::size_t taken = 0;
    Texts wrong;
    for (const std::size_t point : points) {
      for (; taken < point; ++taken)
        if (syncs == Syncs::Count || records[taken].kind != Record::Sync) disk.take(records[taken]);
      std::filesystem::remove_all(home.directory());
      std::filesystem::create_directory(home.directory());
      constexpr double chances[] = {0, 0.5, 0.9, 0.99, 1};
      const double newest = chances[random() % std::size(chances)];
      disk.writeFiles(newest, random);
      if (const auto what = judged(records.first(point), found()); !what.empty())
        wrong.push_back("CORVANE_SEED=" + std::to_string(seed) + ", cut after " + std::to_string(point) +
                        " of " + std::to_string(records.size()) + " records, " + std::to_string(newest) +
                        ": " + what);
    }
    return wrong;
  }
  // From the next record on the installation is an old one, of which everything is on the disk.
  std::size_t installed() {
    run({[&] { install(); }});
    history.mark(disk::settled);
    return history.records().size();
  }

  Installation home{""};
  disk::History history{std::filesystem::canonical(home.directory())};
};
INSTANTIATE_TEST_SUITE_P(Stores, PowerCut, Values(Store::Database, Store::MessageQueuing),
                         [](const auto& each) { return nameOf(each.param); });

TEST_P(PowerCut, LosesDoublesAndHalvesNothing) {
  const auto begin = installed();
  for (const std::string round : {"a", "b"}) {
    run({[&] { set("0"), set("1"); }});
    run({[&] { make("Round" + round); }, [&] { send(round + "1.", 12); }, [&] { send(round + "2.", 12); },
         [&] { receive(15); }});
  }
  EXPECT_THAT(cut(begin, wantedCuts), IsEmpty());
  EXPECT_THAT(cut(begin, 10, Syncs::DoNotCount), Contains(HasSubstr("is there 0 times")))
      << "nothing is seen";
}

TEST_P(PowerCut, NorWhenTheLogIsBegunAnew) {
  const auto begin = installed();
  run({[&] { sendAfterLarge("1.", 12); }, [&] { send("2.", 24); }, [&] { receive(10); }});
  EXPECT_THAT(cut(begin, wantedCuts / 5), IsEmpty());
}

// The system takes what it could not write for written: the next sync succeeds, and one who opens the log
// then is not even told.
TEST_P(PowerCut, AfterAFailedSyncNothingIsReportedThatMayBeLost) {
  installed();
  history.failLogSync(20);
  const auto failure = [&] {
    return std::ranges::find(history.records(), Record::FailedSync, &Record::kind);
  };
  const auto sender = [&](const std::string& who) {  // a store may refuse to be opened then
    return [&, who] { errorOf([&] { send(who, 20, true); }); };
  };
  const auto lateSender = [&] {
    while (failure() == history.records().end()) usleep(100);
    sender("4.")();
  };
  run({sender("1."), sender("2."), sender("3."), lateSender});
  const auto begin = static_cast<std::size_t>(failure() - history.records().begin());
  EXPECT_THAT(cut(begin, wantedCuts), IsEmpty());
}

// Also the directories that lead there.
TEST_P(PowerCut, ANewInstallationIsStored) {
  setenv("CORVANE_HOME", (home.directory() / "new" / "home").c_str(), 1);
  run({[&] { install(), send("1.", 4); }, [&] { install(), send("2.", 4); }});
  run({[&] { set("0"); }});
  EXPECT_THAT(cut(0, wantedCuts), IsEmpty());
}

}  // namespace
