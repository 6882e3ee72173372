// What operators do with many documents, on every store.
#include "Expect.h"
#include "Processes.h"
#include "Stores.h"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <algorithm>
#include <fstream>

namespace {

using namespace stores;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OperationsBehaviour : public ::testing::TestWithParam<Store> {
 protected:
  Queue open(const char* name) { return openQueue(GetParam(), name); }
  void fill(const char* name, int count) {
    auto queue = open(name);
    queue->BeginTransaction();
    for (int i = 1; i <= count; ++i) {
      queue->MsgType(i % 2 == 0 ? "EVEN" : "ODD");
      queue->ObjectID(std::to_string(i));
      queue->SendDocument("document " + std::to_string(i));
    }
    queue->Commit();
  }
  Filter where(const char* conditions) {
    const auto filter = operations->NewFilter();
    filter->Text(conditions);
    return filter;
  }
  Texts found(const Documents& documents) {
    Texts texts;
    while (documents->NextPage())
      for (const auto& document : documents) texts.push_back(toUtf8(document->ObjectID()));
    return texts;
  }
  void expectContent(const char* queue, int waits, int inJournal) {
    const auto statistics = operations->Statistics(queue);
    EXPECT_EQ(statistics->Waiting(), waits) << queue;
    EXPECT_EQ(statistics->Acknowledged(), inJournal) << queue;
    EXPECT_EQ(waiting(queue).size(), static_cast<std::size_t>(waits)) << queue;
    EXPECT_EQ(journaled(queue).size(), static_cast<std::size_t>(inJournal)) << queue;
  }
  Installation home{settingsOf(GetParam())};
  Operations operations = create<Operations>();
};
INSTANTIATE_TEST_SUITE_P(Stores, OperationsBehaviour, ::testing::ValuesIn(everyStore),
                         [](const auto& each) { return nameOf(each.param); });

TEST_P(OperationsBehaviour, SearchesFindByEveryFieldPageByPageWhileOthersSendAndReceive) {
  fill("Orders", 25);
  EXPECT_THAT(
      found(operations->Search("Orders", false, where("ObjectID one of \"3, 7\" and MsgType equal \"ODD\""))),
      ElementsAre("3", "7"));
  EXPECT_THAT(found(operations->Search("orders", false,
                                       where("Body contains ignoring case \"DOCUMENT 2\" and "
                                             "ObjectID begins with \"2\" and Label contains \"EVEN\""))),
              ElementsAre("2", "20", "22", "24"));
  EXPECT_THAT(
      found(operations->Search("Orders", false, where("Length to \"10\" and Sent from \"2026-01-01\""))),
      testing::SizeIs(9));
  EXPECT_THAT(found(operations->Search("Orders", false, where("Sent to \"2026-01-01T00:00:00Z\""))),
              IsEmpty());
  EXPECT_THAT(found(operations->Search("Orders", true)), IsEmpty());

  const auto backward = operations->Search("Orders");
  backward->Backward(true);
  backward->PageSize(10);
  ASSERT_TRUE(backward->NextPage());
  EXPECT_EQ(backward->Item(1)->ObjectID(), u"25");
  EXPECT_EQ(backward->Item(10)->Body(), u"document 16");
  const String position = backward->Position();
  fill("Orders", 3);
  EXPECT_EQ(Receiver(GetParam(), open("Orders")).take(1s), "document 1");
  const auto later = operations->Search("Orders");
  later->Position(position);
  EXPECT_EQ(found(later).size(), 14u);  // 15 to 2
  EXPECT_EQ(operations->Search("Orders", true)->NextPage(), true);

  const String id = backward->Item(10)->ID();
  EXPECT_THAT(found(operations->Search("Orders", false, where(("ID equal \"" + toUtf8(id) + "\"").c_str()))),
              ElementsAre("16"));
  EXPECT_EQ(toUtf8(where("label CONTAINS \"say \"\"x\"\"\" and ID to \"9\"")->Text()),
            "Label contains \"say \"\"x\"\"\" and ID to \"9\"");
  struct Mistake {
    const char* text;
    const char* part;
  };
  const Mistake mistakes[] = {{"Colour equal \"x\"", "there are MsgType, MsgID"},
                              {"Body equal \"x\"", "it has \"contains"},
                              {"ID from \"x\"", "\"x\" is no whole number"},
                              {"Sent from \"2026-13-01\"", "write it in UTC as 2026-"},
                              {"Label contains \"x", "is not closed"},
                              {"Label contains \"x\" or ID to \"1\"", "joined by \"and\""},
                              {"Label", "not of the form FIELD TEST"}};
  for (const Mistake& mistake : mistakes)
    expectError(ErrorNumber::InvalidArgument, nullptr, mistake.part, [&] { where(mistake.text); });
  expectError(ErrorNumber::InvalidArgument, nullptr, "is no position", [&] { later->Position("5"); });
}

TEST_P(OperationsBehaviour, StatisticsCountWithEveryChange) {
  fill("Orders", 3);
  open("Other");
  expectContent("Orders", 3, 0);
  const auto before = operations->Statistics("Orders");
  EXPECT_EQ(before->WaitingBytes(), 30);
  EXPECT_TRUE(before->OldestWaiting() && before->LastSent() && !before->LastAcknowledged());
  auto sender = open("Orders");
  sender->BeginTransaction();
  sender->SendDocument("given up");
  sender->Abort();
  Receiver receiver(GetParam(), open("Orders"),
                    [&](const std::string&) { EXPECT_EQ(operations->Statistics("Orders")->Held(), 1); });
  EXPECT_EQ(receiver.take(1s), "document 1");
  expectContent("Orders", 2, 1);
  const auto after = operations->Statistics("Orders");
  EXPECT_EQ(after->AcknowledgedBytes(), 10);
  EXPECT_TRUE(after->LastAcknowledged());
  const auto journal = operations->Search("Orders", true);
  ASSERT_TRUE(journal->NextPage());
  EXPECT_GE(journal->Item(1)->AcknowledgedTime()->value, journal->Item(1)->SentTime().value);
  open("Orders")->Purge();
  EXPECT_EQ(operations->Statistics("Orders")->Waiting() + operations->Statistics("Orders")->WaitingBytes(),
            0);
  listed("Orders")->Journal()->Purge();
  expectContent("Orders", 0, 0);
  EXPECT_EQ(operations->Statistics("Orders")->AcknowledgedBytes(), 0);
  EXPECT_ANY_THROW(operations->Statistics("Nowhere"));
}

TEST_P(OperationsBehaviour, DocumentsAreMovedCopiedPutBackAndDeletedButForThoseThatAreHeld) {
  fill("Orders", 1200);
  open("Other")->SendDocument("there already");
  std::vector<std::int32_t> steps;
  {
    const auto progress =
        operations->evtProgress([&](std::int32_t done, std::int32_t) { steps.push_back(done); });
    EXPECT_EQ(operations->Move("Orders", false, "Other", where("MsgType equal \"EVEN\"")), 600);
  }
  EXPECT_THAT(steps, ElementsAre(500, 1000, 1200));
  EXPECT_EQ(operations->Held(), 0);
  EXPECT_EQ(waiting("Other").front(), "document 2");  // by its identifier
  expectContent("Orders", 600, 0);
  expectContent("Other", 601, 0);
  // One in hand stays where it is, and comes back whole.
  EXPECT_EQ(Receiver(GetParam(), open("Orders"),
                     [&](const std::string& document) {
                       EXPECT_EQ(document, "document 1");
                       EXPECT_EQ(
                           operations->Move("Orders", false, "Other", where("ObjectID one of \"1, 3\"")), 1);
                       EXPECT_EQ(operations->Held(), 1);
                     })
                .take(1s),
            "document 1");
  expectContent("Orders", 598, 1);
  EXPECT_EQ(operations->Acknowledge("Orders", where("ObjectID begins with \"9\"")), 56);
  EXPECT_EQ(operations->Redrive("Orders", where("ObjectID equal \"9\"")), 1);
  EXPECT_EQ(operations->Move("Orders", true, "Other", where("ObjectID equal \"1\"")), 1);
  expectContent("Orders", 543, 55);
  EXPECT_EQ(operations->Copy("Other", false, "Orders", where("ObjectID one of \"1, 2\"")), 2);
  EXPECT_EQ(waiting("Orders").back(), "document 2");
  EXPECT_EQ(operations->Delete("Orders", true), 55);
  EXPECT_EQ(operations->Delete("Orders", false, where("MsgType equal \"ODD\"")), 544);
  expectContent("Orders", 1, 0);
  expectContent("Other", 603, 0);
  expectError(ErrorNumber::InvalidArgument, nullptr, "already",
              [&] { operations->Move("Other", false, "OTHER"); });
  EXPECT_ANY_THROW(operations->Move("Other", false, "Nowhere"));
  Receiver(GetParam(), open("Other"),
           [&](const std::string&) {  // in hand
             EXPECT_ANY_THROW(operations->DeleteQueue("Other", true));
           })
      .take(1s);
  fill("Other", 603);
  expectError(ErrorNumber::InvalidArgument, nullptr, "holds 603 waiting documents",
              [&] { operations->DeleteQueue("Other"); });
  operations->DeleteQueue("Other", true);
  EXPECT_FALSE(create<Queues>()->Exists("Other"));
  open("Other")->SendDocument("anew");
  expectContent("Other", 1, 0);
}

// A journal that has lost its oldest, and the disk that has its room back.
TEST_P(OperationsBehaviour, JournalsArePrunedByCountBytesAndAge) {
  fill("Orders", 30);
  operations->Acknowledge("Orders");
  EXPECT_EQ(operations->Prune("Orders", 3600), 0);
  EXPECT_EQ(operations->Prune("Orders", -1, 20), 10);
  EXPECT_EQ(journaled("Orders").front(), "document 11");
  EXPECT_EQ(operations->Prune("Orders", -1, -1, 0), 20);
  expectContent("Orders", 0, 0);
  // The standing rule is applied by whoever acknowledges.
  operations->SetJournalRule("Orders", -1, 5);
  EXPECT_EQ(operations->Statistics("Orders")->JournalCount(), 5);
  fill("Orders", 30);
  Receiver(GetParam(), open("Orders")).takeAll();
  EXPECT_THAT(waiting("Orders"), IsEmpty());
  EXPECT_EQ(operations->Statistics("Orders")->Acknowledged(), 5);
  operations->SetJournalRule("Orders", -1);
  operations->Delete("Orders", true);
  open("Orders")->SendDocument(std::string(3'000'000, 'x'));
  operations->Delete("Orders", false);
  operations->Compact();
  fill("Orders", 2);
  expectContent("Orders", 2, 0);
}

TEST_P(OperationsBehaviour, FilesCarryDocumentsFromStoreToStore) {
  auto queue = open("Orders");
  queue->MsgType("ORDER");
  const std::u16string odd = {u'l', 0xD800, 0, u'x'};  // no Unicode text
  const std::u16string texts[] = {u"Größe \"1\"\n", odd, std::u16string(100'000, u'y'), u""};
  for (const auto& text : texts) queue->SendDocument(text);
  const std::string file = home.file("out.jsonl");
  EXPECT_EQ(operations->Export("Orders", false, {}, file), 4);
  expectError(ErrorNumber::InvalidArgument, nullptr, "it is there already",
              [&] { operations->Export("Orders", false, {}, file); });
  for (const char* type : {"db", "msmq"}) {
    create<Utility>()->QueueStoreType(type);
    create<Utility>()->CreateQueue("Copies");
    const auto here = create<Operations>();
    EXPECT_EQ(here->Import(file, "Copies"), 4);
    EXPECT_EQ(here->Import(file, "Copies"), 4);  // it had ended: this is meant
    const auto copies = here->Search("Copies");
    ASSERT_TRUE(copies->NextPage());
    ASSERT_EQ(copies->Count(), 8);
    for (std::int32_t i = 0; i < 8; ++i) EXPECT_EQ(copies->Item(i + 1)->Body(), texts[i % 4]) << i;
    EXPECT_EQ(copies->Item(1)->MsgType(), u"ORDER");
  }
  // A damaged line is told with its number; what stands before it is there, once, when it has been mended.
  std::string content = home.read("out.jsonl");
  const std::size_t third = content.find('\n', content.find('\n') + 1) + 1;
  const std::size_t inThird = content.find("yyy", third);
  content[inThird] = 'z';
  std::ofstream(file) << content;
  create<Utility>()->CreateQueue("Mended");
  const auto here = create<Operations>();
  expectError(ErrorNumber::InvalidArgument, nullptr, "line 3 does not have the checksum",
              [&] { here->Import(file, "Mended"); });
  EXPECT_EQ(here->Statistics("Mended")->Waiting(), 2);
  content[inThird] = 'y';
  std::ofstream(file) << content;
  EXPECT_EQ(here->Import(file, "Mended"), 2);
  EXPECT_EQ(here->Statistics("Mended")->Waiting(), 4);
}

// Each killed at any point and begun again: nothing is lost, nothing is there twice.
TEST_P(OperationsBehaviour, WorkThatIsKilledGoesOn) {
  constexpr int documents = 3000;
  ASSERT_TRUE(succeeded(inProcess([&] {  // this process opens no store before the others
    fill("Orders", documents);
    for (const char* name : {"Copies", "Moved", "Imported"}) create<Utility>()->CreateQueue(name);
  })));
  const std::string file = home.file("out.jsonl");
  // What has stored its last document and not yet said so may end: nobody could tell it from one that has.
  auto* const isDone = static_cast<volatile bool*>(
      mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  const auto watched = [&](const char* target, const std::function<void(const Operations&)>& work) {
    return [&, target, work] {
      const auto here = create<Operations>();
      const auto progress = here->evtProgress([&](std::int32_t, std::int32_t) {
        *isDone = create<Operations>()->Statistics(target)->Waiting() == documents;
      });
      work(here);
    };
  };
  const std::function<void()> works[] = {
      watched("Copies", [](const Operations& here) { here->Copy("Orders", false, "Copies"); }),
      [&] {
        if (!std::filesystem::exists(file)) create<Operations>()->Export("Orders", false, {}, file);
      },
      watched("Imported", [&](const Operations& here) { here->Import(file, "Imported"); }),
      watched("Moved", [](const Operations& here) { here->Move("Orders", false, "Moved"); })};
  for (const auto& work : works) {
    *isDone = false;
    for (int microseconds = 20'000;; microseconds = microseconds * 5 / 4) {
      const pid_t worker = inProcess(work);
      usleep(static_cast<unsigned>(microseconds));
      kill(worker, SIGSTOP);
      int status = 0;
      ASSERT_EQ(waitpid(worker, &status, WUNTRACED), worker);
      if (WIFSTOPPED(status)) {
        kill(worker, *isDone ? SIGCONT : SIGKILL);
        status = endOf(worker);
      }
      ASSERT_TRUE(WIFSIGNALED(status) || status == 0);
      if (status == 0) break;
    }
  }
  Texts all;
  for (int i = 1; i <= documents; ++i) all.push_back("document " + std::to_string(i));
  for (const char* name : {"Copies", "Moved", "Imported"}) EXPECT_EQ(waiting(name), all) << name;
  expectContent("Orders", 0, 0);
}

TEST_P(OperationsBehaviour, WorkersSurviveBadDocuments) {
  fill("Orders", 5);
  Texts seen;
  std::optional<Worker> worker;
  worker.emplace(
      "Orders",
      [&](const WorkerDocument& document) {
        seen.push_back(toUtf8(document.Body));
        if (document.Body == u"document 3") throw std::runtime_error("no such customer");
      },
      WorkerOptions{.attempts = 3, .pause = 1ms});
  worker->runUntilEmpty();
  EXPECT_EQ(worker->done(), 4);
  EXPECT_EQ(worker->failed(), 1);
  worker.reset();
  EXPECT_THAT(seen, ElementsAre("document 1", "document 2", "document 3", "document 3", "document 3",
                                "document 4", "document 5"));
  expectContent("Orders", 0, 4);
  const auto failed = operations->Search("Orders.failed");
  ASSERT_TRUE(failed->NextPage());
  EXPECT_EQ(failed->Item(1)->Body(), u"document 3");
  EXPECT_EQ(failed->Item(1)->Failure(), u"no such customer");
  const std::string id = toUtf8(failed->Item(1)->ID());
  // Moved back, it has its attempts again; what no document is to blame for is none.
  operations->Move("Orders.failed", false, "Orders");
  expectError(ErrorNumber::InvalidArgument, nullptr, "no printer", [] {
    Worker("Orders", [](const WorkerDocument&) { throw StopWorker("no printer"); }).runUntilEmpty();
  });
  Worker("Orders", [&](const WorkerDocument& document) { EXPECT_EQ(document.attempt, 1); }, {.attempts = 3})
      .runUntilEmpty();
  expectContent("Orders", 0, 5);
  EXPECT_THAT(home.read("log/corvane.log"),
              testing::HasSubstr("Queue \\\"Orders\\\", document " + id + ", attempt 3 of 3"));
}

TEST_P(OperationsBehaviour, ADocumentOverWhichProcessesDieIsGivenUpToo) {
  ASSERT_TRUE(succeeded(inProcess([&] { fill("Orders", 2); })));
  int deaths = 0;
  const auto work = [&] {
    Worker("Orders",
           [](const WorkerDocument& document) {
             if (document.Body == u"document 1") _exit(9);
           },
           {.attempts = 2, .pause = 1ms})
        .runUntilEmpty();
  };
  while (!succeeded(inProcess(work))) ASSERT_LT(++deaths, 5);
  EXPECT_EQ(deaths, 2);
  EXPECT_THAT(waiting("Orders.failed"), ElementsAre("document 1"));
  expectContent("Orders", 0, 1);
}

// The copy is of one moment; it goes back when nobody works with the stores, whole or not at all.
TEST_P(OperationsBehaviour, CopiesOfTheInstallationAreMadeWhileOthersWorkAndPutBack) {
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

  const char* const store = GetParam() == Store::Database ? "copy/messages.db" : "copy/queues.db";
  const std::string whole = home.read(store);
  std::string damaged = whole;
  damaged[whole.size() / 2] ^= 1;
  std::ofstream(home.file(store)) << damaged;
  EXPECT_TRUE(refused("damaged or missing", restore));
  std::ofstream(home.file(store)) << whole;
  for (int microseconds = 500;; microseconds = microseconds * 6 / 5) {
    const pid_t worker = inProcess(restore);
    usleep(static_cast<unsigned>(microseconds));
    kill(worker, SIGKILL);
    const int status = endOf(worker);
    ASSERT_TRUE(WIFSIGNALED(status) || status == 0);
    if (status == 0) break;
  }
  const Texts found = waiting("Orders");
  ASSERT_GT(found.size(), 500u);
  for (std::size_t i = 0; i < found.size(); ++i) ASSERT_EQ(found[i], "document " + std::to_string(i + 1));
  expectContent("Orders", static_cast<int>(found.size()), 0);
  EXPECT_EQ(operations->Verify(), u"");
}

}  // namespace
