// What operators do with many documents, on every store.
#include "OperatedQueues.h"

#include <algorithm>
#include <fstream>

namespace {

using namespace stores;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OperationsBehaviour : public OperatedQueues {};
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
  sender->Object("Order");
  const String id = operations->Send(sender, "document 4");
  const auto sent = operations->Search("Orders", false, where(("ID equal \"" + toUtf8(id) + "\"").c_str()));
  ASSERT_TRUE(sent->NextPage());
  EXPECT_EQ(sent->Item(1)->Object(), u"Order");
  EXPECT_EQ(sent->Item(1)->Body(), u"document 4");
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
  expectError(ErrorNumber::InvalidArgument, nullptr, "There is no queue \"Nowhere\".",
              [&] { operations->Statistics("Nowhere"); });
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
  EXPECT_THAT(steps, ElementsAre(1000, 1200));
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
  if (GetParam() != Store::PostgreSql) operations->Compact();
  fill("Orders", 2);
  expectContent("Orders", 2, 0);
}

TEST_P(OperationsBehaviour, FilesCarryDocumentsFromStoreToStore) {
  auto queue = open("Orders");
  queue->MsgType("ORDER");
  std::u16string odd = {u'l', 0xD800, 0, u'x'};  // no Unicode text
  if (GetParam() == Store::PostgreSql) odd = u"which servers do not carry";
  const std::u16string texts[] = {u"Größe \"1\"\n", odd, std::u16string(100'000, u'y'), u""};
  for (const auto& text : texts) queue->SendDocument(text);
  const std::string file = home.file("out.jsonl").string();
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
  // Another file is another one, whatever stands in its first line.
  const std::string last = content.substr(content.rfind('\n', content.size() - 2) + 1);
  std::ofstream(home.file("other.jsonl")) << content.substr(0, content.find('\n') + 1) << last;
  EXPECT_EQ(here->Import(home.file("other.jsonl").string(), "Mended"), 2);
  const std::string moved = home.file("moved.jsonl").string();
  std::ofstream(moved) << content;
  EXPECT_EQ(here->Import(moved, "Mended"), 2);
  EXPECT_EQ(here->Before(), 2);
  EXPECT_EQ(here->Statistics("Mended")->Waiting(), 6);
  expectError(ErrorNumber::InvalidArgument, nullptr, "no queue", [&] { here->Import(file, "Nowhere"); });
}

// What leaves while a list is read takes nothing else out of it, and brings nothing back into it.
TEST_P(OperationsBehaviour, SearchesSeeNothingTwiceAndMissNothingWhileOthersReceive) {
  constexpr int documents = 3000;
  ASSERT_TRUE(isFilledElsewhere("Orders", documents));
  const Child receiver = inProcess([] {
    const auto there = create<Operations>();
    for (int last = 20; last < documents; last += 20) {
      const auto filter = there->NewFilter();
      filter->Text("ID to \"" + std::to_string(last) + "\"");
      there->Acknowledge("Orders", filter);
    }
  });
  for (bool isBackward = false; !hasEnded(receiver); isBackward = !isBackward) {
    const auto search = create<Operations>()->Search("Orders", false, where("Body contains \"document\""));
    search->Backward(isBackward);
    search->PageSize(1000);
    std::vector<int> seen;
    for (const std::string& id : found(search)) seen.push_back(std::stoi(id));
    if (isBackward) std::ranges::reverse(seen);
    if (seen.empty()) continue;
    ASSERT_EQ(seen.back(), documents);
    ASSERT_EQ(seen.back() - seen.front() + 1, std::ssize(seen));
  }
}

// Fields are looked up in summaries, which what comes among older documents makes out of date.
TEST_P(OperationsBehaviour, FieldsAreFoundWhateverHasBeenMovedAmongOlderDocuments) {
  fill("Other", 3);
  fill("Orders", 4000);
  fill("Other", 2000);
  const auto agree = [&](const char* step) {
    for (const char* queue : {"Orders", "Other"})
      for (const bool isJournal : {false, true})
        for (const bool isBackward : {false, true}) {
          const auto search = [&](const char* condition) {
            auto documents = operations->Search(queue, isJournal, where(condition));
            documents->Backward(isBackward);
            return found(documents);
          };
          Texts those = search("Label contains \"\"");
          std::erase_if(those,
                        [](const std::string& id) { return id != "2" && id != "1501" && id != "3998"; });
          EXPECT_EQ(search("ObjectID one of \"2, 1501, 3998, 9999\""), those) << step << queue << isJournal;
          std::erase_if(those, [](const std::string& id) { return id == "1501"; });
          EXPECT_EQ(search("MsgType equal \"EVEN\" and ObjectID one of \"2, 1501, 3998\""), those) << step;
          EXPECT_THAT(search("Sent to \"2026-01-01\""), IsEmpty());
        }
  };
  agree("filled ");
  EXPECT_GT(operations->Acknowledge("Orders", where("ObjectID begins with \"1\"")), 1000);
  EXPECT_EQ(operations->Acknowledge("Orders", where("ObjectID one of \"2, 3998\"")), 2);
  agree("acknowledged ");
  EXPECT_GT(operations->Move("Other", false, "Orders", where("MsgType equal \"ODD\"")), 1000);
  EXPECT_EQ(operations->Redrive("Orders", where("ObjectID equal \"1501\"")), 1);
  agree("moved ");
  EXPECT_GT(operations->Redrive("Orders"), 1000);
  EXPECT_GT(operations->Delete("Orders", false, where("ObjectID begins with \"3\"")), 1000);
  fill("Orders", 2000);
  agree("put back ");
}

}  // namespace
