// The database back end against a recording door: which calls, in which order, with which values.
#include "DbJournal.h"
#include "DbQueues.h"
#include "Expect.h"
#include "RecordingPlatform.h"

#include <gmock/gmock.h>

namespace CorvaneQueue {

namespace {

using ::testing::ElementsAre;

class StoreCalls : public ::testing::Test {
 protected:
  Ref<DbQueue> queue(const char16_t* name, bool isJournal = false) {
    const auto made = make<DbQueue>();
    made->Initialize(String(name), isJournal);
    recorder.take();
    return made;
  }
  static std::vector<Variant> document(std::int64_t id, const char16_t* body) {
    return {id, u"label", Date{46000.4375}, u"idoc", body};  // 10:30:00
  }
  RecordingPlatform door;
  Recorder& recorder = door.recorder;
};

TEST_F(StoreCalls, SendingStoresInATransactionOfItsOwn) {
  const auto orders = queue(u"O'Brien");
  orders->MsgType_Let(String(u"ORDER"));
  orders->ObjectID_Let(String(u"X9"));
  orders->SendDocument(String(u"text"));
  EXPECT_THAT(recorder.take(),
              ElementsAre("new DatabaseConnection", "ActiveConnection", "CommandType 4",
                          "CommandText [dbo].[mdqCreateMessage]", "Append MessageType 202 1 64 \"idoc\"",
                          "Append Queue 202 1 250 \"O'Brien\"",
                          "Append Description 202 1 250 \"Msg Type: <ORDER> ObjectID: <X9> \"",
                          "Append CreateTimestamp 7 1 0 date 11/22/2026 11:59:59 PM",
                          "Append Body 202 1 1073741823 &\"text\"", "Append MessageID 20 2 0 empty",
                          "BeginTrans", "Execute -1", "CommitTrans"));
  EXPECT_EQ(orders->BeginTransaction(), 1);
  EXPECT_EQ(orders->BeginTransaction(), 0);
  orders->SendDocument(String(u"more"));
  EXPECT_THAT(recorder.take("Trans"), ElementsAre("BeginTrans"));
  orders->Commit();
  orders->Commit();
  orders->Abort();
  EXPECT_THAT(recorder.take(), ElementsAre("CommitTrans"));
}

TEST_F(StoreCalls, AFailedStoreIsRolledBackAndReportedAtEveryLevel) {
  const auto orders = queue(u"Orders");
  recorder.failing = "Execute";
  expectError(4711, u"IQueue_SendDocument", "The door failed.",
              [&] { call<&IQueue::raw_SendDocument>(Ref<IQueue>(orders), u"text"); });
  EXPECT_THAT(recorder.take("Trans"), ElementsAre("BeginTrans", "RollbackTrans"));
  orders->BeginTransaction();
  recorder.take();
  EXPECT_EQ(errorNumber([&] { orders->SendDocument(String(u"text")); }), 4711);
  EXPECT_THAT(recorder.take("report"), ElementsAre("default report raise 1 4711 CreateMessage",
                                                   "default report raise 1 4711 SendDocument"));
}

TEST_F(StoreCalls, ReceivingAcknowledgingAndCounting) {
  const auto orders = queue(u"O'Brien");
  recorder.rows.push_back({document(42, u"body"), document(43, u"ignored")});
  const auto message = orders->ReceiveNext();
  EXPECT_THAT(
      recorder.take(),
      ElementsAre("new DatabaseConnection", "ActiveConnection", "CommandType 4",
                  "CommandText [dbo].[mdqGetMessagesTrans]", "Append @QueueName 202 1 250 \"O'Brien\"",
                  "Append @MaxRecords 3 1 0 int32 1", "Append @MinAge 7 1 0 int32 1", "Execute -1"));
  EXPECT_EQ(message->ID(), u"42");
  EXPECT_EQ(message->SentTime().value, 46000.4375);
  EXPECT_EQ(message->BodyLength(), 4);
  orders->AcknowledgeDocument(String(u"0042"));
  EXPECT_THAT(recorder.take(),
              ElementsAre("ActiveConnection", "CommandType 4", "CommandText [dbo].[mdqAckReceive]",
                          "Append @MessageID 20 1 0 \"0042\"", "Append @Flag 2 1 0 int32 2", "Execute -1"));
  EXPECT_FALSE(orders->ReceiveNext());
  recorder.take();
  recorder.rows.push_back({{std::int64_t{3}}});
  EXPECT_FALSE(orders->IsEmpty());
  EXPECT_THAT(
      recorder.take(),
      ElementsAre(
          "OpenRecordset 3 SELECT COUNT(*) FROM [dbo].[mdqMessage] pe INNER JOIN [dbo].[mdqMessageType] "
          "pet    ON pe.[MessageTypeID] = pet.[MessageTypeID] WHERE pe.[AckReceive] = 0   AND "
          "pet.[Name] = 'idoc'   AND pet.[Queue] = 'O''Brien'"));
  EXPECT_TRUE(orders->IsEmpty());
  recorder.answersNoRecordset = true;
  EXPECT_TRUE(orders->IsEmpty());
  EXPECT_FALSE(orders->ReceiveNext());
}

TEST_F(StoreCalls, PurgingQueueAndJournal) {
  queue(u"Orders")->Purge();
  EXPECT_THAT(recorder.take(),
              ElementsAre("new DatabaseConnection", "ActiveConnection", "CommandType 4", "CommandTimeout 0",
                          "CommandText [dbo].[mdqDeleteActiveQueueMessagesOlderThan]",
                          "Append ReturnValue 3 4 0 empty", "Append Queue 202 1 250 \"Orders\"",
                          "Append DeleteSeconds 3 1 0 int32 0", "BeginTrans", "Execute -1", "CommitTrans"));
  const auto journal = make<DbJournal>();
  journal->Initialize(String(u"Orders"));
  journal->Purge();
  EXPECT_THAT(recorder.take("CommandText"),
              ElementsAre("CommandText [dbo].[mdqDeleteAckQueueMessagesOlderThan]"));
  const auto asJournal = queue(u"Orders", true);
  EXPECT_FALSE(asJournal->Journal());
  for (const auto* member : {u"ReceiveNext", u"AcknowledgeDocument"})
    expectError(100, member, "Not supported for journal", [&] {
      if (*member == u'R')
        asJournal->ReceiveNext();
      else
        asJournal->AcknowledgeDocument(String(u"1"));
    });
}

TEST_F(StoreCalls, ListingWaitingAndAcknowledged) {
  recorder.bias = -60;
  recorder.rows.push_back({document(42, u"body")});
  const auto orders = queue(u"O'Brien");
  const auto messages = orders->Messages();
  EXPECT_EQ(messages.get(), orders->Messages().get());
  EXPECT_EQ(messages->Count(), 0);
  messages->Refresh();
  EXPECT_THAT(
      recorder.take(),
      ElementsAre("new DatabaseConnection", "ActiveConnection", "CommandTimeout 0", "CommandType 4",
                  "CommandText [dbo].[mdqGetMessagesTrans]", "Append @QueueName 202 1 250 \"O'Brien\"",
                  "Append @MaxRecords 3 1 0 int32 0", "Append @MinAge 7 1 0 int32 1", "Execute -1"));
  const auto message = messages->Item(Variant(u"0000000000000000042").get());
  EXPECT_EQ(toString(Variant(message->SentTime()).get()), u"12/9/2025 11:30:00 AM");
  recorder.zone = zoneInvalid;
  recorder.rows.push_back({document(42, u"body")});
  messages->Refresh();
  EXPECT_EQ(toString(Variant(messages->Item(Variant(std::int32_t{1}).get())->SentTime()).get()),
            u"12/9/2025 10:30:00 AM");
  recorder.take();
  queryClass<DbJournal>(orders->Journal().get())->Messages()->Refresh();
  EXPECT_THAT(
      recorder.take("Command"),
      ElementsAre("CommandTimeout 0", "CommandType 1",
                  "CommandText SELECT pe.[MessageID], pe.[Description], pe.[CreateTimestamp], pet.[Name], "
                  "pe.[Body] FROM [dbo].[mdqMessageAck] pe INNER JOIN [dbo].[mdqMessageType] pet   ON "
                  "pe.[MessageTypeID] = pet.[MessageTypeID] WHERE pet.[Name] = 'idoc'   AND pet.[Queue] = "
                  "'O''Brien'"));
}

TEST_F(StoreCalls, QueuesListTestAndCreate) {
  const auto queues = make<DbQueues>();
  EXPECT_THAT(recorder.take(), ElementsAre("default component CorvaneQueue", "default class DbQueues",
                                           "default component CorvaneQueue", "default class DbUtility"));
  recorder.rows.push_back({{std::int64_t{1}, u"idoc", u"Orders"}, {std::int64_t{2}, u"idoc", u"ORDERS"}});
  expectError(457, u"Refresh", "ORDERS", [&] { queues->Refresh(); });
  EXPECT_EQ(queues->Count(), 1);  // what came before the failure stays
  EXPECT_THAT(
      recorder.take("OpenRecordset"),
      ElementsAre("OpenRecordset 3 SELECT [MessageTypeID] ,[Name] ,[Queue] FROM [dbo].[mdqMessageType] WHERE "
                  "[Name] = 'idoc'"));
  recorder.rows.push_back({{std::int64_t{0}}});
  queues->Add(String(u"O'New"));
  const auto calls = recorder.take();
  const std::vector<std::string> creation(calls.begin(), calls.begin() + 11);
  EXPECT_THAT(
      creation,
      ElementsAre("new DatabaseConnection",
                  "OpenRecordset 3 SELECT Count(*) FROM [dbo].[mdqMessageType] WHERE [Name] = 'idoc'   AND "
                  "[Queue] = 'O''New'",
                  "new DatabaseConnection", "ActiveConnection", "CommandType 4",
                  "CommandText [dbo].[mdqCreateMessageType]", "Append ReturnValue 3 4 0 empty",
                  "Append @Name 202 1 64 \"idoc\"", "Append @Queue 202 1 250 \"O'New\"",
                  "Append @MessageTypeID 2 2 0 empty", "Execute -1"));
  recorder.rows.push_back({{std::int64_t{1}}});
  EXPECT_EQ(errorNumber([&] { queues->Add(String(u"ORDERS")); }), ErrorNumber::KeyAlreadyPresent);
  EXPECT_TRUE(recorder.take("mdqCreate").empty());
}

TEST_F(StoreCalls, InitializeReadsTheSettingOfItsQueue) {
  const auto orders = make<DbQueue>();
  EXPECT_THAT(recorder.take(), ElementsAre("default names CorvaneQueue DbQueue"));
  EXPECT_EQ(orders->Name(), u"InboundGateway");
  const std::pair<Variant, bool> values[] = {
      {std::int32_t{1}, true}, {std::int32_t{2}, false}, {u"1", false}, {1.4, false}, {true, false}};
  for (const auto& [value, compresses] : values) {
    recorder.settings["CompressMessages"] = value;
    orders->Initialize(String(u"Orders"), true);
    EXPECT_EQ(orders->CompressMessages(), compresses);
  }
  EXPECT_THAT(std::vector(recorder.calls.begin(), recorder.calls.begin() + 3),
              ElementsAre("first OrdersDbQueue", "second OrdersDbQueue", "read CompressMessages int32 0"));
}

TEST_F(StoreCalls, ALostConnectionIsReplacedButNotInsideATransaction) {
  const auto orders = queue(u"Orders");
  orders->IsEmpty();
  recorder.connectionState = adStateClosed;
  recorder.take();
  orders->IsEmpty();
  EXPECT_EQ(recorder.take("new DatabaseConnection").size(), 1u);
  recorder.connectionState = adStateOpen;
  orders->BeginTransaction();
  recorder.connectionState = adStateClosed;
  expectError(E_FAIL, u"SendDocument", "lost inside a transaction",
              [&] { orders->SendDocument(String(u"x")); });
  recorder.connectionState = adStateOpen;
  recorder.take();
  orders->Commit();  // the flag is gone: nothing to commit
  EXPECT_TRUE(recorder.take().empty());
}

TEST_F(StoreCalls, AFailedCommitEndsTheTransaction) {
  const auto orders = queue(u"Orders");
  orders->BeginTransaction();
  recorder.failing = "CommitTrans";
  EXPECT_EQ(errorNumber([&] { orders->Commit(); }), 4711);
  recorder.failing.clear();
  recorder.take();
  orders->Abort();  // nothing is open any more
  EXPECT_TRUE(recorder.take().empty());
  EXPECT_NE(orders->BeginTransaction(), 0);
}

TEST_F(StoreCalls, AHandlerThatDoesNotRaiseLeavesEmptyResults) {
  const auto orders = queue(u"Orders");
  recorder.raises = false;
  recorder.failing = "new DatabaseConnection";
  EXPECT_FALSE(orders->IsEmpty());
  EXPECT_FALSE(orders->ReceiveNext());
  EXPECT_EQ(orders->BeginTransaction(), 0);
  EXPECT_EQ(recorder.take("take 91").size(), 3u);
}

TEST_F(StoreCalls, UnsupportedAndNotImplementedMembersNameThemselves) {
  const auto orders = queue(u"Orders");
  const Ref<IQueue> inner = orders;
  const Ref<_Queue> outer = orders;
  expectError(100, u"IQueue_Quota Get", "Unsupported", [&] { call<&IQueue::get_Quota>(inner); });
  EXPECT_THAT(recorder.take("take"), ElementsAre("default take 100 Quota Get", "default take 100 Quota Get"));
  expectError(100, u"Queue_JournalEnabled Let", "Unsupported",
              [&] { call<&_Queue::put_JournalEnabled>(outer, true); });
  recorder.take();
  expectError(ErrorNumber::NotImplemented, u"Queue_ReceiveEnable", "Not implemented",
              [&] { call<&_Queue::raw_ReceiveEnable>(outer); });
  EXPECT_THAT(recorder.take(), ElementsAre("default description Not implemented",
                                           "default report raise 1 -2147467263 Queue_ReceiveEnable"));
  expectError(ErrorNumber::NotImplemented, u"Queue_Transaction Get", "Not implemented",
              [&] { call<&_Queue::get_Transaction>(outer); });
  expectError(ErrorNumber::NotImplemented, u"Queue_Messages Set", "Not implemented",
              [&] { call<&_Queue::putref_Messages>(outer, Ref<_Messages>()); });
}

}  // namespace

}  // namespace CorvaneQueue
