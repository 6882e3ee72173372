// The database back end against a recording door: which calls, in which order, with which values.
#include "DbJournal.h"
#include "DbQueues.h"
#include "RecordingTest.h"

namespace CorvaneQueue {

namespace {

class StoreCalls : public RecordingTest {
 protected:
  Stepwise<DbQueue> queue(const char16_t* name, bool isJournal = false) {
    const auto made = stepwise<DbQueue>();
    made->Initialize(String(name), isJournal);
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
  step("the client's transaction is", orders->BeginTransaction());
  step("the same again", orders->BeginTransaction());
  orders->SendDocument(String(u"more"));
  // Ended once.
  orders->Commit();
  orders->Commit();
  orders->Abort();
}

TEST_F(StoreCalls, AFailedStoreIsRolledBackAndReportedAtEveryLevel) {
  const auto orders = queue(u"Orders");
  recorder.failing = "Execute";
  fails([&] { call<&IQueue::raw_SendDocument>(Ref<IQueue>(orders.get()), u"text"); });
  orders->BeginTransaction();
  fails([&] { orders->SendDocument(String(u"text")); });
}

TEST_F(StoreCalls, ReceivingAcknowledgingAndCounting) {
  const auto orders = queue(u"O'Brien");
  recorder.rows.push_back({document(42, u"body"), document(43, u"ignored")});
  const auto message = orders->ReceiveNext();
  step("received", message->ID(), message->SentTime(), message->BodyLength());
  orders->AcknowledgeDocument(String(u"0042"));
  step("received", orders->ReceiveNext());
  recorder.rows.push_back({{std::int64_t{3}}});
  step("with three, is empty:", orders->IsEmpty());
  step("with none, is empty:", orders->IsEmpty());
  recorder.answersNoRecordset = true;
  step("without an answer, is empty:", orders->IsEmpty());
  step("received", orders->ReceiveNext());
}

TEST_F(StoreCalls, PurgingQueueAndJournal) {
  queue(u"Orders")->Purge();
  const auto journal = stepwise<DbJournal>();
  journal->Initialize(String(u"Orders"));
  journal->Purge();
  const auto asJournal = queue(u"Orders", true);
  step("its journal:", asJournal->Journal());
  fails([&] { asJournal->ReceiveNext(); });
  fails([&] { asJournal->AcknowledgeDocument(String(u"1")); });
}

TEST_F(StoreCalls, ListingWaitingAndAcknowledged) {
  recorder.bias = -60;
  const auto orders = queue(u"O'Brien");
  const auto messages = stepwise(orders->Messages());
  EXPECT_EQ(messages.get(), orders->Messages().get());
  EXPECT_EQ(messages->Count(), 0);
  const auto lists = [&](const Variant& key) {
    recorder.rows.push_back({document(42, u"body")});
    messages->Refresh();
    step("sent at", messages->Item(key.get())->SentTime());
  };
  lists(u"0000000000000000042");
  recorder.zone = zoneInvalid;
  lists(std::int32_t{1});
  queryClass<DbJournal>(orders->Journal().get())->Messages()->Refresh();
}

TEST_F(StoreCalls, QueuesListTestAndCreate) {
  const auto queues = stepwise<DbQueues>();
  recorder.rows.push_back({{std::int64_t{1}, u"idoc", u"Orders"}, {std::int64_t{2}, u"idoc", u"ORDERS"}});
  fails([&] { queues->Refresh(); });
  step("what came before the failure stays:", queues->Count());
  recorder.rows.push_back({{std::int64_t{0}}});
  queues->Add(String(u"O'New"));
  recorder.rows.push_back({{std::int64_t{1}}});
  fails([&] { queues->Add(String(u"ORDERS")); });
}

TEST_F(StoreCalls, InitializeReadsTheSettingOfItsQueue) {
  const auto orders = stepwise<DbQueue>();
  step("its name at first:", orders->Name());
  for (const Variant& value : std::vector<Variant>{1, 2, 0, u"1", 1.4, true}) {
    recorder.settings["CompressMessages"] = value;
    orders->Initialize(String(u"Orders"), true);
    step("compresses:", orders->CompressMessages());
  }
}

TEST_F(StoreCalls, ALostConnectionIsReplacedButNotInsideATransaction) {
  const auto orders = queue(u"Orders");
  orders->IsEmpty();
  // Lost.
  recorder.connectionState = adStateClosed;
  orders->IsEmpty();
  recorder.connectionState = adStateOpen;
  orders->BeginTransaction();
  recorder.connectionState = adStateClosed;
  fails([&] { orders->SendDocument(String(u"x")); });
  recorder.connectionState = adStateOpen;
  orders->Commit();  // the flag is gone: nothing to commit
}

TEST_F(StoreCalls, AFailedCommitEndsTheTransaction) {
  const auto orders = queue(u"Orders");
  orders->BeginTransaction();
  failsAt("CommitTrans", [&] { orders->Commit(); });
  orders->Abort();  // nothing is open any more
  step("begun:", orders->BeginTransaction());
}

TEST_F(StoreCalls, AHandlerThatDoesNotRaiseLeavesEmptyResults) {
  const auto orders = queue(u"Orders");
  recorder.raises = false;
  recorder.failing = "new DatabaseConnection";
  step("is empty:", orders->IsEmpty());
  step("received", orders->ReceiveNext());
  step("begun:", orders->BeginTransaction());
}

TEST_F(StoreCalls, UnsupportedAndNotImplementedMembersNameThemselves) {
  const auto orders = queue(u"Orders");
  const Ref<_Queue> outer(orders.get());
  fails([&] { call<&IQueue::get_Quota>(Ref<IQueue>(orders.get())); });
  fails([&] { call<&_Queue::put_JournalEnabled>(outer, true); });
  fails([&] { call<&_Queue::raw_ReceiveEnable>(outer); });
  fails([&] { call<&_Queue::get_Transaction>(outer); });
  fails([&] { call<&_Queue::putref_Messages>(outer, Ref<_Messages>()); });
}

}  // namespace

}  // namespace CorvaneQueue
