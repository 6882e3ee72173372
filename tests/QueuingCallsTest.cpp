// The Message Queuing back end against a recording door: which calls, in which order, with which values.
#include "DbJournal.h"
#include "DbMessages.h"
#include "MSMQJournal.h"
#include "MSMQQueues.h"
#include "QueuingCalls.h"

namespace CorvaneQueue {

namespace {

TEST_F(QueuingCalls, SendingInitialisesOpensAndSends) {
  orders = stepwise<MSMQQueue>();
  orders->MsgType_Let(String(u"ORDER"));
  orders->SendDocument(String(u"text"));
  sends(false);
  // To a transactional queue.
  recorder.isTransactional = true;
  orders->SendDocument(String(u"alone"));
  // In a transaction, which is replaced.
  orders->BeginTransaction();
  recorder.handedBack = make<RecordingTransaction>(recorder);
  orders->SendDocument(String(u"inside"));
  step("has", orders->Transaction());
  orders->Transaction_Set(nullptr);  // forgotten, not aborted
}

TEST_F(QueuingCalls, CopyingKeepsOrChangesTheCompression) {
  for (const bool isSourceCompressed : {true, false})
    for (const bool compresses : {true, false}) {
      recorder.settings["CompressMessages"] = std::int32_t{compresses ? 1 : 0};
      orders = queue();
      const auto source = chosen(7);
      source->Name_Let(u"Source");
      prepared(7);                     // found
      const auto whole = prepared(7);  // and read with its body
      whole->appSpecific = isSourceCompressed ? 1 : 0;
      if (isSourceCompressed) whole->body = modCompress::Compress(Variant(u"text").get());
      orders->SendMessage(*source);
      sends(compresses);
    }
}

TEST_F(QueuingCalls, SettingsGoToTheSendHandleAndAreReadBackByTheOther) {
  orders->IsEmpty();
  orders->Quota();
  // Set.
  orders->Quota_Let(5);
  orders->QueueSize_Let(6);
  orders->JournalEnabled_Let(true);
  orders->JournalEnabled_Let(false);
  orders->JournalQuota_Let(7);
  recorder.quota = 9;
  step("quota", orders->QueueSize());
  step("quota", orders->JournalQuota());
  step("journal", orders->JournalEnabled());
  recorder.journal = 2;
  step("journal", orders->JournalEnabled());
}

TEST_F(QueuingCalls, LookingAndPurging) {
  step("is empty:", orders->IsEmpty());
  prepared(1);
  step("is empty:", orders->IsEmpty());
  prepared(1);
  orders->Purge();
  recorder.isTransactional = true;
  orders->BeginTransaction();
  // Purged in a transaction of its own.
  prepared(1);
  orders->Purge();
  step("transaction:", orders->Transaction());
}

TEST_F(QueuingCalls, OneTransactionAtATime) {
  orders->Commit();
  orders->Abort();
  step("none to end; now there is", orders->IQueue_BeginTransaction());
  failsAt("Commit", [&] { orders->Commit(); });  // then it is still there, and may be tried again
  failsAt("Abort", [&] { orders->Abort(); });
  step("has", orders->Transaction());
  const Variant transaction = orders->Queue_BeginTransaction();
  orders->Commit();
  orders->Queue_Transaction_Set(transaction.get());
  step("has", orders->Queue_Transaction_Get().get());
  recorder.failing = "Abort";  // nobody hears of it
  orders = nullptr;
}

TEST_F(QueuingCalls, DeletingOneMessageByItsIdentifier) {
  orders->IsEmpty();
  // Not there.
  orders->AcknowledgeMessage(*chosen(42));
  const auto found = [&](const char* where) {
    step(where);
    prepared(41);
    prepared(42);
    orders->AcknowledgeMessage(*chosen(42));
  };
  found("there");
  recorder.isTransactional = true;
  found("in a transactional queue");
  orders->BeginTransaction();
  recorder.handedBack = make<RecordingTransaction>(recorder);
  found("in a transaction, which is replaced");
  step("has", orders->Transaction());
}

TEST_F(QueuingCalls, ACursorPeeksWithoutBodiesAndAMessageFetchesItsOwnOnce) {
  const auto messages = stepwise(orders->Messages());
  prepared(1);
  prepared(2);
  messages->Refresh();
  const auto second = messages->Item(Variant(u"0000000002").get());
  EXPECT_EQ(second.get(), messages->Item(Variant(std::int32_t{2}).get()).get());
  step("no call for", second->BodyLength(), second->TimeToAcknowledge(), second->SentTime());
  prepared(2, "not this one")->id[0] = 9;  // the same end, another beginning
  prepared(2);
  prepared(2, "whole");
  step("the body is", second->Body().get());
  step("fetched once:", second->Body().get());
  const auto first = messages->Item(Variant(std::int32_t{1}).get());
  step("gone in the meantime, peeked was", first->Body().get());
  step("looked for again:", first->Body().get());
  messages->Remove(Variant(u"0000000001").get());
  step("left:", messages->Count());
  fails([&] { messages->Item(Variant(u"0000000001").get()); });
  // Identifiers that end alike.
  for (const int number : {3, 4, 3}) prepared(number);
  fails([&] { messages->Refresh(); });
  step("left:", messages->Count());
  failsAt("Open", [&] { messages->Refresh(); });
  step("left:", messages->Count());
}

TEST_F(QueuingCalls, AJournalHasItsOwnQueueAndCursor) {
  const auto journal = queue(true);
  step("its journal:", journal->Journal());
  journal->Quota();
  orders->Journal()->Messages()->Refresh();
  // Purged.
  orders->Journal()->Purge();
}

TEST_F(QueuingCalls, MembersThatAreNotServedAndObjectsOfOtherStores) {
  const Ref<IQueue> back(orders.get());
  const Ref<_Queue> published(orders.get());
  fails([&] { call<&IQueue::raw_ReceiveNext>(back); });
  fails([&] { call<&_Queue::raw_ReceiveNext>(published); });
  fails([&] { call<&_Queue::raw_ReceiveEnable>(published); });
  fails([&] { call<&_Queue::raw_ReceiveDisable>(published); });
  fails([&] { orders->Queue_Transaction_Set(Variant(asDispatch<MSMQQueue>(orders)).get()); });
  const auto foreign = make<DbMessage>(String(), String(), Date{}, String(), String());
  fails([&] { call<&IQueue::raw_SendMessage>(back, foreign); });
  fails([&] { call<&IQueue::raw_AcknowledgeMessage>(back, foreign); });
  fails([&] { call<&_Queue::raw_SendMessage>(published, foreign); });
  fails([&] { call<&IQueue::putref_Journal>(back, make<DbJournal>()); });
  fails([&] { call<&_Queue::putref_Messages>(published, make<DbMessages>()); });
  fails([&] { make<MSMQUtility>()->IUtility_GetBody(asDispatch<MSMQQueue>(orders)); });
  const auto ownJournal = make<MSMQJournal>();
  call<&IQueue::putref_Journal>(back, ownJournal);
  EXPECT_EQ(orders->Journal().get(), ownJournal.get());
  const auto cursor = make<MSMQMessages>();
  call<&_Queue::putref_Messages>(published, cursor);
  EXPECT_EQ(orders->Messages().get(), cursor.get());
  call<&_Journal::putref_Messages>(Ref<_Journal>(ownJournal), cursor);
  EXPECT_EQ(ownJournal->Messages().get(), cursor.get());
  call<&_Queue::putref_Journal>(published, static_cast<_Journal*>(nullptr));
  step("its journal:", orders->Journal());
}

TEST_F(QueuingCalls, TheUtilityIsOfMessageQueuingWhateverIsConfigured) {
  const auto utility = stepwise<MSMQUtility>();
  recorder.settings["QueueStoreType"] = u"db";
  utility->CreateQueue(String(u"Orders"));
  step("queues:", tryQuery<IQueues>(utility->GetQueues().get()));
  recorder.failing = "FormatName";  // the queue is created then too
  utility->OpenQueue(String(u"Orders"), MQ_SEND_ACCESS, false);
  fails([&] { call<&IUtility::put_QueueStoreType>(Ref<IUtility>(utility.get()), u"oracle"); });
}

}  // namespace

}  // namespace CorvaneQueue
