// The Message Queuing back end against a recording door: which calls, in which order, with which values.
#include "DbJournal.h"
#include "DbMessages.h"
#include "modCompress.h"
#include "MSMQJournal.h"
#include "MSMQQueues.h"
#include "RecordingPlatform.h"

namespace CorvaneQueue {

namespace {

class QueuingCalls : public RecordingTest {
 protected:
  Stepwise<MSMQQueue> queue(bool isJournal = false) {
    const auto made = stepwise<MSMQQueue>();
    made->Initialize(String(u"Orders"), isJournal);
    return made;
  }
  Stepwise<MSMQQueue> orders = queue();
  Subscription client = listening<__MSMQQueue>(orders);
  // A message of the store that stands for one with this number.
  Ref<MSMQMessage> chosen(int number) {
    const auto made = make<MSMQMessage>();
    made->QueueMessage_Set(message(number));
    return made;
  }
  void arrives(int number) {
    prepared(number);
    recorder.arrive();
  }
  void sends(bool isCompressed) {
    const Variant body = call<&IMSMQMessage::get_Body>(recorder.sent);
    if (isCompressed) return step("compressed", modCompress::Decompress(body.get()).get());
    const auto bytes = bytesOf(body.get());
    step("plain", std::string(bytes.begin(), bytes.end()));
  }
};

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

TEST_F(QueuingCalls, OnlyTheNumber1TurnsCompressionOn) {
  for (const Variant& value : std::vector<Variant>{1, 0, 2, u"1"}) {
    recorder.settings["CompressMessages"] = value;
    orders = queue();
    orders->SendDocument(String(u"text"));
    sends(orders->CompressMessages());
  }
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

TEST_F(QueuingCalls, AnArrivalIsReceivedAnnouncedAndCommitted) {
  recorder.isTransactional = true;
  handle = [&](std::span<VARIANT> arguments) {
    step("last is", orders->LastDocument());
    change(arguments[1]);
  };
  orders->Object_Let(String(u"kept"));
  orders->ReceiveEnable();
  arrives(42);
  step("is now", orders->LastDocument(), orders->MsgType(), orders->Object());
  orders->IQueue_AcknowledgeDocument(String(u"ignored"));
  // Nothing is pending.
  orders->AcknowledgeDocument();
  // Given up by arming again: it stays in the transaction, which the next one joins.
  arrives(43);
  orders->ReceiveEnable();
  // Nothing is pending.
  orders->AcknowledgeDocument();
  recorder.handedBack = make<RecordingTransaction>(recorder);
  arrives(44);
  step("has", orders->Transaction());
  orders->Commit();  // by the client, before it acknowledges
  // Acknowledged.
  orders->AcknowledgeDocument();
}

TEST_F(QueuingCalls, OutsideATransactionAnArrivalIsPeekedAndReceivedAtItsAcknowledgement) {
  orders->ReceiveEnable();
  arrives(42);
  // Acknowledged.
  orders->AcknowledgeDocument();
  // A failing acknowledgement: no longer pending, and not armed.
  arrives(43);
  failsAt("receive Receive", [&] { orders->AcknowledgeDocument(); });
  orders->AcknowledgeDocument();
  // Disarmed with a document pending.
  orders->ReceiveEnable();
  arrives(44);
  orders->BeginTransaction();
  orders->ReceiveDisable();
  step("nothing more, but a transaction:", orders->Transaction());
  orders->ReceiveDisable();
  orders->AcknowledgeDocument();
  recorder.arrive();
}

TEST_F(QueuingCalls, TheNotifiedQueueIsKnownByNamesAlone) {
  orders->ReceiveEnable();
  VARIANT null{};
  null.vt = VT_NULL;
  const NamedObject::Members information = {{u"IsTransactional", Variant(null)}};
  const NamedObject::Members members = {
      {u"QueueInfo", Ref<IDispatch>(make<NamedObject>(recorder, information))},
      {u"Peek", asDispatch(message(42))}};
  recorder.arriveFrom(make<NamedObject>(recorder, members));
  step("transaction:", orders->Transaction());
}

TEST_F(QueuingCalls, ArrivalsThatFailAreReportedAndNotAnnounced) {
  recorder.isTransactional = true;
  orders->ReceiveEnable();
  // Somebody else was faster.
  recorder.arrive();
  step("transaction:", orders->Transaction());
  // A body that does not decompress: it stays in the transaction, pending, and nothing is armed.
  prepared(42)->appSpecific = 1;
  recorder.arrive();
  orders->AcknowledgeDocument();
  // A label with an element that does not end.
  prepared(43)->label = u"Msg Type: <ORDER";
  recorder.arrive();
  // Another message is removed meanwhile: this one stays pending.
  orders->AcknowledgeMessage(*chosen(0));
  orders->AcknowledgeDocument();
  recorder.failing = "receive Receive";
  // Nothing is taken, and nothing to acknowledge.
  recorder.arrive();
  orders->AcknowledgeDocument();
}

TEST_F(QueuingCalls, InitializingAgainLetsGoOfTheQueueBefore) {
  recorder.isTransactional = true;
  orders = stepwise<MSMQQueue>();
  orders->BeginTransaction();
  orders->SendDocument(String(u"inside"));  // which initialises, but not anew
  failsAt("Abort", [&] { orders->Initialize(String(u"Other"), false); });
  step("it is", orders->Name());
  client = listening<__MSMQQueue>(orders);
  orders->ReceiveEnable();
  arrives(42);
  orders->Initialize(String(u"Other"), false);  // handles are let go of without a call
  // Nothing to end.
  orders->AcknowledgeDocument();
  orders->Commit();
  arrives(43);
  orders->SendDocument(String(u"text"));
  orders->IsEmpty();
}

TEST_F(QueuingCalls, AClientsHandlerMayThrowAcknowledgeAndInitializeAgain) {
  recorder.isTransactional = true;
  handle = [&](std::span<VARIANT>) {
    orders->AcknowledgeDocument();
    orders->Initialize(String(u"Orders"), false);
    throw Error(5, u"client", u"No good.");
  };
  for (int i = 0; i < 2; ++i) {
    orders->ReceiveEnable();
    arrives(42);
  }
  orders->ReceiveEnable();
  // Let go in its handler.
  handle = [&](std::span<VARIANT>) { orders = nullptr; };
  arrives(43);
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

class QueueFiles : public RecordingTest {
 protected:
  void file(const char16_t* name, const char16_t* queueName, const char16_t* systemQueue = u"00") {
    recorder.files.push_back(name);
    const std::string file = toUtf8(name);
    recorder.texts[file + " QueueName"] = queueName;
    recorder.texts[file + " PathName"] = String(u"HOST\\" + std::u16string(queueName));
    recorder.texts[file + " SystemQueue"] = systemQueue;
  }
  void lists() {
    queues->Refresh();
    for (std::int32_t i = 1; i <= queues->Count(); ++i)
      step("listed: " + toUtf8(queues->Item(Variant(i).get())->Name()));
  }
  void looksAnew(const std::string& where) {
    step(where);
    queues = stepwise<MSMQQueues>();
    lists();
  }
  Stepwise<MSMQQueues> queues = stepwise<MSMQQueues>();
};

TEST_F(QueueFiles, AreFilteredByKindAndCut) {
  file(u"1", u"orders");
  file(u"2", u"\\private$\\hidden");
  file(u"3", u"system", u"01");
  file(u"4", u"seven", u"7");  // one character says nothing
  file(u"5", u"x mqping response x");
  file(u"6", u"");
  lists();
  recorder.settings["UsesPublicQueues"] = false;
  lists();
  step("found:", queues->Item(Variant(u"HIDDEN").get())->Name());
  queues->Remove(Variant(u"hidden").get());
  step("left without a call:", queues->Count());
  // Two queues of one name, and a number that is none: the list has what stands before them.
  recorder.settings["UsesPublicQueues"] = true;
  file(u"7", u"ORDERS");
  fails([&] { queues->Refresh(); });
  step("left:", queues->Count());
  recorder.files = {u"3"};
  recorder.texts["3 SystemQueue"] = u"no number";
  fails([&] { queues->Refresh(); });
}

TEST_F(QueueFiles, StandInTheDirectoryThatTheSystemNames) {
  looksAnew("the system's directory");
  recorder.texts["registry"] = String(std::u16string(u"D:\\store\\\0rest", 14));
  looksAnew("the registry's");
  recorder.texts["PROCESSOR_ARCHITEW6432"] = u"AMD64";
  recorder.texts["system directory"] = u"S:\\system";
  recorder.texts["registry"] = u"s:\\SYSTEM\\msmq";
  looksAnew("a 32-bit process on a 64-bit system");
  recorder.texts.erase("registry");
  looksAnew("the same without the registry");
  recorder.version.majorVersion = 4;
  fails([&] { looksAnew("an old system without the registry"); });
  recorder.texts["registry"] = u"D:\\msmq";
  file(u"1", u"orders");
  looksAnew("an old system, whose queues are called by their path names");
  for (const auto& [platformId, majorVersion] : {std::pair(2, 3), std::pair(1, 4), std::pair(1, 10)}) {
    recorder.version.platformId = platformId;
    recorder.version.majorVersion = majorVersion;
    queues = stepwise<MSMQQueues>();
    queues->Add(String(u"before"));
    fails([&] { queues->Refresh(); });
    step("left:", queues->Count());
  }
  // A queue of platform 1.
  make<MSMQUtility>()->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, false);
}

TEST_F(QueueFiles, QueuesAreLookedForAndAddedInMessageQueuing) {
  step("exists:", queues->Exists(String(u"Orders")));
  queues->Add(String(u"Orders"));
  fails([&] { queues->Add(String(u"ORDERS")); });
  recorder.failing = "Open";
  step("exists:", queues->Exists(String(u"Orders")));
  queues->Add(String(u"New"));
  step("two:", queues->Count());
  recorder.version.majorVersion = 4;
  make<MSMQQueues>()->Exists(String(u"Orders"));
}

}  // namespace

}  // namespace CorvaneQueue
