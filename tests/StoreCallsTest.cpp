// The database back end against a recording door: which calls, in which order, with which values.
#include "DbJournal.h"
#include "DbQueues.h"
#include "RecordingPlatform.h"

namespace CorvaneQueue {

namespace {

class StoreCalls : public RecordingTest {
 protected:
  Ref<DbQueue> queue(const char16_t* name, bool isJournal = false) {
    const auto made = make<DbQueue>();
    made->Initialize(String(name), isJournal);
    step("the queue is there");
    return made;
  }
  static std::vector<Variant> document(std::int64_t id, const char16_t* body) {
    return {id, u"label", Date{46000.4375}, u"idoc", body};  // 10:30:00
  }
};

TEST_F(StoreCalls, SendingStoresInATransactionOfItsOwn) {
  const auto orders = queue(u"O'Brien");
  orders->MsgType_Let(String(u"ORDER"));
  orders->ObjectID_Let(String(u"X9"));
  orders->SendDocument(String(u"text"));
  step("in the client's transaction");
  EXPECT_EQ(orders->BeginTransaction(), 1);
  EXPECT_EQ(orders->BeginTransaction(), 0);
  orders->SendDocument(String(u"more"));
  step("ended once");
  orders->Commit();
  orders->Commit();
  orders->Abort();
}

TEST_F(StoreCalls, AFailedStoreIsRolledBackAndReportedAtEveryLevel) {
  const auto orders = queue(u"Orders");
  recorder.failing = "Execute";
  fails([&] { call<&IQueue::raw_SendDocument>(Ref<IQueue>(orders), u"text"); });
  orders->BeginTransaction();
  fails([&] { orders->SendDocument(String(u"text")); });
}

TEST_F(StoreCalls, ReceivingAcknowledgingAndCounting) {
  const auto orders = queue(u"O'Brien");
  recorder.rows.push_back({document(42, u"body"), document(43, u"ignored")});
  const auto message = orders->ReceiveNext();
  EXPECT_EQ(message->ID(), u"42");
  EXPECT_EQ(message->SentTime().value, 46000.4375);
  EXPECT_EQ(message->BodyLength(), 4);
  step("acknowledged");
  orders->AcknowledgeDocument(String(u"0042"));
  EXPECT_FALSE(orders->ReceiveNext());
  step("counted");
  recorder.rows.push_back({{std::int64_t{3}}});
  EXPECT_FALSE(orders->IsEmpty());
  EXPECT_TRUE(orders->IsEmpty());
  recorder.answersNoRecordset = true;
  EXPECT_TRUE(orders->IsEmpty());
  EXPECT_FALSE(orders->ReceiveNext());
}

TEST_F(StoreCalls, PurgingQueueAndJournal) {
  queue(u"Orders")->Purge();
  const auto journal = make<DbJournal>();
  journal->Initialize(String(u"Orders"));
  journal->Purge();
  const auto asJournal = queue(u"Orders", true);
  EXPECT_FALSE(asJournal->Journal());
  fails([&] { asJournal->ReceiveNext(); });
  fails([&] { asJournal->AcknowledgeDocument(String(u"1")); });
}

TEST_F(StoreCalls, ListingWaitingAndAcknowledged) {
  recorder.bias = -60;
  const auto orders = queue(u"O'Brien");
  const auto messages = orders->Messages();
  EXPECT_EQ(messages.get(), orders->Messages().get());
  EXPECT_EQ(messages->Count(), 0);
  const auto sentTime = [&](Variant key) {
    recorder.rows.push_back({document(42, u"body")});
    messages->Refresh();
    return toString(Variant(messages->Item(key.get())->SentTime()).get());
  };
  EXPECT_EQ(sentTime(u"0000000000000000042"), u"12/9/2025 11:30:00 AM");
  recorder.zone = zoneInvalid;
  EXPECT_EQ(sentTime(std::int32_t{1}), u"12/9/2025 10:30:00 AM");
  step("the journal");
  queryClass<DbJournal>(orders->Journal().get())->Messages()->Refresh();
}

TEST_F(StoreCalls, QueuesListTestAndCreate) {
  const auto queues = make<DbQueues>();
  recorder.rows.push_back({{std::int64_t{1}, u"idoc", u"Orders"}, {std::int64_t{2}, u"idoc", u"ORDERS"}});
  fails([&] { queues->Refresh(); });
  EXPECT_EQ(queues->Count(), 1);  // what came before the failure stays
  recorder.rows.push_back({{std::int64_t{0}}});
  queues->Add(String(u"O'New"));
  recorder.rows.push_back({{std::int64_t{1}}});
  fails([&] { queues->Add(String(u"ORDERS")); });
}

TEST_F(StoreCalls, InitializeReadsTheSettingOfItsQueue) {
  const auto orders = make<DbQueue>();
  EXPECT_EQ(orders->Name(), u"InboundGateway");
  const std::pair<Variant, bool> values[] = {
      {std::int32_t{1}, true}, {std::int32_t{2}, false}, {u"1", false}, {1.4, false}, {true, false}};
  for (const auto& [value, compresses] : values) {
    recorder.settings["CompressMessages"] = value;
    orders->Initialize(String(u"Orders"), true);
    EXPECT_EQ(orders->CompressMessages(), compresses);
  }
}

TEST_F(StoreCalls, ALostConnectionIsReplacedButNotInsideATransaction) {
  const auto orders = queue(u"Orders");
  orders->IsEmpty();
  step("lost");
  recorder.connectionState = adStateClosed;
  orders->IsEmpty();
  recorder.connectionState = adStateOpen;
  orders->BeginTransaction();
  step("lost inside");
  recorder.connectionState = adStateClosed;
  fails([&] { orders->SendDocument(String(u"x")); });
  recorder.connectionState = adStateOpen;
  step("nothing to commit");
  orders->Commit();
}

TEST_F(StoreCalls, AFailedCommitEndsTheTransaction) {
  const auto orders = queue(u"Orders");
  orders->BeginTransaction();
  recorder.failing = "CommitTrans";
  fails([&] { orders->Commit(); });
  recorder.failing.clear();
  step("nothing to abort");
  orders->Abort();
  EXPECT_NE(orders->BeginTransaction(), 0);
}

TEST_F(StoreCalls, AHandlerThatDoesNotRaiseLeavesEmptyResults) {
  const auto orders = queue(u"Orders");
  recorder.raises = false;
  recorder.failing = "new DatabaseConnection";
  EXPECT_FALSE(orders->IsEmpty());
  EXPECT_FALSE(orders->ReceiveNext());
  EXPECT_EQ(orders->BeginTransaction(), 0);
}

TEST_F(StoreCalls, UnsupportedAndNotImplementedMembersNameThemselves) {
  const auto orders = queue(u"Orders");
  const Ref<_Queue> outer = orders;
  fails([&] { call<&IQueue::get_Quota>(Ref<IQueue>(orders)); });
  fails([&] { call<&_Queue::put_JournalEnabled>(outer, true); });
  fails([&] { call<&_Queue::raw_ReceiveEnable>(outer); });
  fails([&] { call<&_Queue::get_Transaction>(outer); });
  fails([&] { call<&_Queue::putref_Messages>(outer, Ref<_Messages>()); });
}

}  // namespace

}  // namespace CorvaneQueue
