// Workers and the documents that they fail over, on every store.
#include "OperatedQueues.h"
#include "Queuing.h"

#include <CorvaneQueue/Worker.h>

#include <fstream>

namespace {

using namespace stores;
using ::testing::ElementsAre;

class Workers : public OperatedQueues {};
INSTANTIATE_TEST_SUITE_P(Stores, Workers, ::testing::ValuesIn(everyStore),
                         [](const auto& each) { return nameOf(each.param); });

TEST_P(Workers, SurviveBadDocuments) {
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

TEST_P(Workers, SurviveDocumentsThatCannotBeRead) {
  ASSERT_TRUE(isFilledElsewhere("Orders", 5));
  const bool isDatabase = stores::isDatabase(GetParam());
  const char* const store = isDatabase ? "messages.db" : "msmq/storage/queues.db";
  std::string content = home.read(store);
  for (auto at = content.find("document 3"); at != std::string::npos; at = content.find("document 3", at))
    content[at] = 'D';
  std::ofstream(home.file(store), std::ios::binary) << content;
  int bad = 1;
  if (!isDatabase) {
    const auto message = queuing::messageOf("no compressed text");
    call<&IMSMQMessage::put_AppSpecific>(message, 1);
    const auto orders =
        queuing::open(create<Utility>()->FormatQueuePathName("Orders").view(), MQ_SEND_ACCESS);
    IDispatch* const destination = orders.get();
    auto alone = queuing::alone();
    call<&IMSMQMessage::raw_Send>(message, destination, alone.argument());
    ++bad;
  }
  Worker worker("Orders", [](const WorkerDocument&) {}, {.attempts = 2, .pause = 1ms});
  worker.runUntilEmpty();
  EXPECT_EQ(worker.done(), 4);
  EXPECT_EQ(worker.failed(), bad);
  const auto failed = operations->Search("Orders.failed");
  ASSERT_TRUE(failed->NextPage());
  ASSERT_EQ(failed->Count(), bad);
  EXPECT_THAT(toUtf8(failed->Item(1)->Failure()), testing::HasSubstr("is damaged"));
  EXPECT_THAT(toUtf8(operations->Verify()), testing::HasSubstr("damaged"));
  operations->Move("Orders.failed", false, "Orders");
  EXPECT_EQ(operations->Damaged(), failed->Item(1)->ID());
}

TEST_P(Workers, RefuseQueuesThatTakeNothingBack) {
  if (isDatabase(GetParam())) return;  // has no such queues
  queuing::createQueue(create<Utility>()->FormatQueuePathName("Plain").view(), queuing::Transactional::No);
  expectError(ErrorNumber::InvalidArgument, nullptr, "\"Plain\" is not transactional",
              [] { Worker("Plain", [](const WorkerDocument&) {}); });
}

TEST_P(Workers, ReasonsGoWithTheirDocuments) {
  const auto giveUp = [&](int count) {
    fill("Orders", count);
    Worker("Orders", [](const WorkerDocument&) { throw std::runtime_error("no paper"); }, {.attempts = 1})
        .runUntilEmpty();
  };
  const auto reasons = [&](bool isJournal) {
    int count = 0;
    const auto found = operations->Search("Orders.failed", isJournal);
    while (found->NextPage())
      for (const auto& document : found) count += document->Failure() == u"no paper" ? 1 : 0;
    return count;
  };
  giveUp(20);
  EXPECT_EQ(reasons(false), 20);
  open("Orders.failed");  // it keeps a journal
  operations->Acknowledge("Orders.failed", where("ObjectID equal \"20\""));
  {
    Receiver receiver(GetParam(), open("Orders.failed"));
    for (int i = 0; i < 18; ++i) receiver.take(1s);
  }
  expectContent("Orders.failed", 1, 19);
  giveUp(4);
  EXPECT_EQ(reasons(true), 0);
  EXPECT_EQ(reasons(false), 5);
}

TEST_P(Workers, ADocumentOverWhichProcessesDieIsGivenUpToo) {
  ASSERT_TRUE(isFilledElsewhere("Orders", 2));
  int deaths = 0;
  const auto work = [] {
    Worker("Orders",
           [](const WorkerDocument& document) {
             if (document.Body == u"document 1") die();
           },
           {.attempts = 2, .pause = 1ms})
        .runUntilEmpty();
  };
  while (!succeeded(inProcess(work))) ASSERT_LT(++deaths, 5);
  EXPECT_EQ(deaths, 2);
  EXPECT_THAT(waiting("Orders.failed"), ElementsAre("document 1"));
  expectContent("Orders", 0, 1);
}

}  // namespace
