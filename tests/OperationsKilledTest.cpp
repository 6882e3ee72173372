// Work with many documents that dies in the middle, and copies of the installation.
#include "OperatedQueues.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <fstream>

namespace {

using namespace stores;

class OperationsThatDie : public OperatedQueues {};
INSTANTIATE_TEST_SUITE_P(Stores, OperationsThatDie, ::testing::ValuesIn(everyStore),
                         [](const auto& each) { return nameOf(each.param); });

// Each killed at any point and begun again: nothing is lost, nothing is there twice.
TEST_P(OperationsThatDie, WorkThatIsKilledGoesOn) {
  constexpr int documents = 3000;
  ASSERT_TRUE(succeeded(inProcess([&] {  // this process opens no store before the others
    for (const char* name : {"Orders", "Pruned"}) fill(name, documents);
    for (const char* name : {"Copies", "Moved", "Imported"}) create<Utility>()->CreateQueue(name);
  })));
  const std::string file = home.file("out.jsonl");
  // Who knows that it has ended does not begin it again.
  auto* const isDone = static_cast<volatile bool*>(
      mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  const auto told = [&](const std::function<void(const Operations&)>& work) {
    return [&, work] {
      const auto here = create<Operations>();
      work(here);
      *isDone = true;
    };
  };
  const std::function<void()> works[] = {
      told([](const Operations& here) { here->Copy("Orders", false, "Copies"); }),
      [&] {
        if (!std::filesystem::exists(file)) create<Operations>()->Export("Orders", false, {}, file);
      },
      told([&](const Operations& here) { here->Import(file, "Imported"); }),
      told([](const Operations& here) { here->Move("Orders", false, "Moved"); })};
  const auto untilItEnds = [&](const std::function<void()>& work) {
    *isDone = false;
    for (int microseconds = 20'000;; microseconds = microseconds * 5 / 4) {
      const pid_t worker = inProcess(work);
      usleep(static_cast<unsigned>(microseconds));
      kill(worker, SIGKILL);
      const int status = endOf(worker);
      ASSERT_TRUE(WIFSIGNALED(status) || status == 0);
      if (status == 0 || *isDone) break;
    }
  };
  for (const auto& work : works) untilItEnds(work);
  untilItEnds([] { create<Operations>()->Acknowledge("Pruned"); });
  untilItEnds([] { create<Operations>()->Prune("Pruned", -1, 7); });
  untilItEnds([] { create<Operations>()->Compact(); });
  Texts all;
  for (int i = 1; i <= documents; ++i) all.push_back("document " + std::to_string(i));
  for (const char* name : {"Copies", "Moved", "Imported"}) EXPECT_EQ(waiting(name), all) << name;
  expectContent("Orders", 0, 0);
  expectContent("Pruned", 0, 7);
  EXPECT_EQ(operations->Verify(), u"");
}

// Killed behind the last document, it is told as done when it is asked for again; then it is meant once more.
TEST_P(OperationsThatDie, WorkThatHasEndedAndCouldNotSayItIsNotDoneAgain) {
  constexpr int documents = 700;
  const std::string file = home.file("out.jsonl");
  ASSERT_TRUE(succeeded(inProcess([&] {
    fill("Orders", documents);
    create<Utility>()->CreateQueue("Copies");
    create<Operations>()->Export("Orders", false, {}, file);
  })));
  auto* const done = static_cast<volatile std::int32_t*>(
      mmap(nullptr, sizeof(std::int32_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  using Work = std::function<std::int32_t(const Operations&)>;
  enum class Dies { Never, BehindTheLastDocument, BeforeItIsLetGo };
  const auto run = [&](const Work& work, Dies dies) {
    return endOf(inProcess([&] {
      const auto here = create<Operations>();
      const auto progress = here->evtProgress([&](std::int32_t reached, std::int32_t) {
        if (reached == documents && dies == Dies::BehindTheLastDocument) raise(SIGKILL);
      });
      *done = work(here);
      if (dies == Dies::BeforeItIsLetGo) raise(SIGKILL);
    }));
  };
  const Work works[] = {
      [](const Operations& here) { return here->Copy("Orders", false, "Copies"); },
      [&](const Operations& here) { return here->Import(file, "Copies"); },
      [](const Operations& here) { return here->Copy("Orders", false, "Orders"); },
  };
  for (const Work& work : works) {
    EXPECT_TRUE(WIFSIGNALED(run(work, Dies::BehindTheLastDocument)));
    EXPECT_TRUE(WIFSIGNALED(run(work, Dies::BeforeItIsLetGo)));
    EXPECT_EQ(run(work, Dies::Never), 0);
    EXPECT_EQ(*done, 0);
  }
  EXPECT_EQ(run(works[1], Dies::Never), 0);
  EXPECT_EQ(*done, documents);
  expectContent("Copies", 3 * documents, 0);
  expectContent("Orders", 2 * documents, 0);
}

// One that is not what was sent, and one that is no text, stop nobody: they are set aside as they are.
// The settings of a copy come back with the store that they name; the one in use until then stays as it is.
TEST_P(OperationsThatDie, ARestoreBringsTheStoreThatItsSettingsName) {
  if (!isDatabase(GetParam())) return;  // has one place alone
  const std::string copy = home.file("copy");
  const auto use = [&](const char* file) {
    home.writeSettings(settingsOf(GetParam()) + "[Platform.MessageStore]\nFile = \"" + file + "\"\n");
  };
  const auto restore = [&] { create<Operations>()->Restore(copy); };
  use("first.db");
  ASSERT_TRUE(succeeded(inProcess([&] {
    fill("Orders", 3);
    create<Operations>()->Backup(copy);
  })));
  use("second.db");
  const pid_t atWork = inProcess([&] {
    const auto queue = open("Orders");
    for (int i = 0; i < 5; ++i) queue->SendDocument("x");
    raise(SIGSTOP);
  });
  ASSERT_TRUE(hasStopped(atWork));
  EXPECT_FALSE(succeeded(inProcess(restore)));
  killed(atWork);
  EXPECT_TRUE(succeeded(inProcess(restore)));
  ASSERT_TRUE(succeeded(inProcess([&] {
    if (waiting("Orders").size() != 3) throw std::runtime_error("it is not the store of the copy");
  })));
  use("second.db");
  EXPECT_EQ(waiting("Orders").size(), 5u);
}

// Whoever takes what a worker has given up: why it failed is kept as long as the document waits.
// The copy is of one moment; it goes back when nobody works with the stores, whole or not at all.
TEST_P(OperationsThatDie, CopiesOfTheInstallationAreMadeWhileOthersWorkAndPutBack) {
  const std::string copy = home.file("copy").string();
  ASSERT_TRUE(succeeded(inProcess([&] { fill("Orders", 500); })));
  const pid_t sender = inProcess([&] {
    auto queue = open("Orders");
    for (int i = 501;; ++i) queue->SendDocument("document " + std::to_string(i));
  });
  const auto backUp = [&] { create<Operations>()->Backup(copy); };
  const auto restore = [&] { create<Operations>()->Restore(copy); };
  usleep(50'000);
  EXPECT_TRUE(succeeded(inProcess(backUp)));
  const auto refused = [](const char* part, const auto& work) {
    return succeeded(inProcess([&] {
      expectError(ErrorNumber::InvalidArgument, nullptr, part, work);
      if (::testing::Test::HasFailure()) throw std::runtime_error("not refused");
    }));
  };
  EXPECT_TRUE(refused("there already", backUp));
  EXPECT_TRUE(refused("End them all first", restore));
  killed(sender);

  const auto leftovers = [&] {
    int count = 0;
    for (const auto& each : std::filesystem::recursive_directory_iterator(home.directory()))
      count += each.path().extension() == ".restored" ? 1 : 0;
    return count;
  };
  EXPECT_TRUE(succeeded(inProcess([&] {  // the disk is full
    signal(SIGXFSZ, SIG_IGN);
    const rlimit small{65'536, 65'536};
    setrlimit(RLIMIT_FSIZE, &small);
    try {
      restore();
    } catch (const Error& error) {
      if (std::string(error.what()).find("Nothing was changed") != std::string::npos) return;
    }
    throw std::runtime_error("it was not told");
  })));
  EXPECT_EQ(leftovers(), 0);

  const char* const store = GetParam() == Store::Database ? "copy/messages.db" : "copy/queues.db";
  const char* const unused =
      GetParam() == Store::Database ? "messages.db.restored" : "msmq/storage/queues.db.restored";
  const std::string whole = home.read(store);
  std::string damaged = whole;
  damaged[whole.size() / 2] ^= 1;
  std::ofstream(home.file(store)) << damaged;
  EXPECT_TRUE(refused("damaged or missing", restore));
  std::ofstream(home.file(store)) << whole;
  // In each of the steps of which it tells, and at any point.
  const auto untilItEnds = [&](bool isInSteps) {
    for (int microseconds = 500, step = 1;; microseconds = microseconds * 6 / 5, ++step) {
      const pid_t worker = inProcess([&] {
        const auto here = create<Operations>();
        const auto progress = here->evtProgress([&, left = step](std::int32_t, std::int32_t) mutable {
          if (isInSteps && --left == 0) raise(SIGKILL);
        });
        here->Restore(copy);
      });
      if (!isInSteps) {
        usleep(static_cast<unsigned>(microseconds));
        kill(worker, SIGKILL);
      }
      const int status = endOf(worker);
      ASSERT_TRUE(WIFSIGNALED(status) || status == 0);
      if (status == 0) break;
      // Whoever opens the store takes what was not used away, or has to restore it first.
      EXPECT_TRUE(succeeded(inProcess([&] {
        try {
          create<Operations>()->Statistics("Orders");
        } catch (const Error&) {
          return;
        }
        if (std::filesystem::exists(home.file(unused))) throw std::runtime_error("it is left");
      })));
    }
  };
  untilItEnds(true);
  untilItEnds(false);
  EXPECT_EQ(leftovers(), 0);
  const Texts found = waiting("Orders");
  ASSERT_GT(found.size(), 500u);
  for (std::size_t i = 0; i < found.size(); ++i) ASSERT_EQ(found[i], "document " + std::to_string(i + 1));
  expectContent("Orders", static_cast<int>(found.size()), 0);
  EXPECT_EQ(operations->Verify(), u"");
}

}  // namespace
