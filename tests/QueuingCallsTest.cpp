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
  Ref<MSMQQueue> queue(bool isJournal = false) {
    const auto made = make<MSMQQueue>();
    made->Initialize(String(u"Orders"), isJournal);
    step("the queue is there");
    return made;
  }
  // A message of the store that stands for one with this number.
  Ref<MSMQMessage> chosen(std::uint8_t number) {
    const auto made = make<MSMQMessage>();
    made->QueueMessage_Set(message(number));
    return made;
  }
  void arrives(std::uint8_t number) {
    prepared(number);
    recorder.arrive();
  }
  std::string sentBody(bool isCompressed) const {
    const Variant body = call<&IMSMQMessage::get_Body>(recorder.sent);
    if (isCompressed) return toUtf8(toString(modCompress::Decompress(body.get()).get()));
    const auto bytes = bytesOf(body.get());
    return {bytes.begin(), bytes.end()};
  }
};

TEST_F(QueuingCalls, SendingInitialisesOpensAndSends) {
  const auto orders = make<MSMQQueue>();
  orders->MsgType_Let(String(u"ORDER"));
  orders->SendDocument(String(u"text"));
  EXPECT_EQ(sentBody(false), "text");
  step("to a transactional queue");
  recorder.isTransactional = true;
  orders->SendDocument(String(u"alone"));
  step("in a transaction, which is replaced");
  const auto other = make<RecordingTransaction>(recorder);
  orders->BeginTransaction();
  recorder.handedBack = other;
  orders->SendDocument(String(u"inside"));
  EXPECT_EQ(orders->Transaction().get(), other.get());
  step("forgotten, not aborted");
  orders->Transaction_Set(nullptr);
}

TEST_F(QueuingCalls, OnlyTheNumber1TurnsCompressionOn) {
  const std::pair<Variant, bool> settings[] = {
      {std::int32_t{1}, true}, {std::int32_t{0}, false}, {std::int32_t{2}, false}, {u"1", false}};
  for (const auto& [value, isCompressed] : settings) {
    recorder.settings["CompressMessages"] = value;
    const auto orders = queue();
    EXPECT_EQ(orders->CompressMessages(), isCompressed);
    orders->SendDocument(String(u"text"));
    EXPECT_EQ(sentBody(isCompressed), "text");
  }
}

TEST_F(QueuingCalls, CopyingKeepsOrChangesTheCompression) {
  for (const bool isSourceCompressed : {true, false})
    for (const bool compresses : {true, false}) {
      recorder.settings["CompressMessages"] = std::int32_t{compresses ? 1 : 0};
      const auto orders = queue();
      const auto source = chosen(7);
      source->Name_Let(u"Source");
      prepared(7);                     // found
      const auto whole = prepared(7);  // and read with its body
      whole->appSpecific = isSourceCompressed ? 1 : 0;
      if (isSourceCompressed) whole->body = modCompress::Compress(Variant(u"text").get());
      step("copied");
      orders->SendMessage(*source);
      EXPECT_EQ(sentBody(compresses), "text");
    }
}

TEST_F(QueuingCalls, SettingsGoToTheSendHandleAndAreReadBackByTheOther) {
  const auto orders = queue();
  orders->IsEmpty();
  orders->Quota();
  step("set");
  orders->Quota_Let(5);
  orders->QueueSize_Let(6);
  orders->JournalEnabled_Let(true);
  orders->JournalEnabled_Let(false);
  orders->JournalQuota_Let(7);
  step("read");
  recorder.quota = 9;
  EXPECT_EQ(orders->QueueSize(), 9);
  EXPECT_EQ(orders->JournalQuota(), 9);
  EXPECT_TRUE(orders->JournalEnabled());
  recorder.journal = 2;
  EXPECT_FALSE(orders->JournalEnabled());
}

TEST_F(QueuingCalls, LookingAndPurging) {
  const auto orders = queue();
  EXPECT_TRUE(orders->IsEmpty());
  prepared(1);
  EXPECT_FALSE(orders->IsEmpty());
  step("purged");
  prepared(1);
  orders->Purge();
  step("purged in a transaction of its own");
  recorder.isTransactional = true;
  orders->BeginTransaction();
  prepared(1);
  orders->Purge();
  EXPECT_FALSE(orders->Transaction());
}

TEST_F(QueuingCalls, OneTransactionAtATime) {
  auto orders = queue();
  step("none to end");
  orders->Commit();
  orders->Abort();
  step("begun");
  EXPECT_EQ(orders->IQueue_BeginTransaction(), 1001);
  recorder.failing = "Commit";  // then it is still there, and may be tried again
  fails([&] { orders->Commit(); });
  recorder.failing = "Abort";
  fails([&] { orders->Abort(); });
  EXPECT_TRUE(orders->Transaction());
  step("begun anew");
  recorder.failing.clear();
  const Variant transaction = orders->Queue_BeginTransaction();
  step("committed, and assigned again");
  orders->Commit();
  orders->Queue_Transaction_Set(transaction.get());
  EXPECT_EQ(orders->Queue_Transaction_Get().get().pdispVal, transaction.get().pdispVal);
  step("let go: nobody hears of a failure");
  recorder.failing = "Abort";
  orders = nullptr;
}

TEST_F(QueuingCalls, AnArrivalIsReceivedAnnouncedAndCommitted) {
  recorder.isTransactional = true;
  const auto orders = queue();
  const auto client = listening<__MSMQQueue>(orders);
  handle = [&](std::span<VARIANT> arguments) {
    EXPECT_EQ(orders->LastDocument(), u"text");
    change(arguments[1]);
  };
  orders->Object_Let(String(u"kept"));
  orders->ReceiveEnable();
  arrives(42);
  EXPECT_EQ(orders->LastDocument(), u"changed");
  EXPECT_EQ(orders->MsgType(), u"ORDER");
  EXPECT_EQ(orders->Object(), u"kept");
  step("acknowledged");
  orders->IQueue_AcknowledgeDocument(String(u"ignored"));
  step("nothing is pending");
  orders->AcknowledgeDocument();

  step("given up by arming again: it stays in the transaction, which the next one joins");
  arrives(43);
  orders->ReceiveEnable();
  step("nothing is pending");
  orders->AcknowledgeDocument();
  const auto other = make<RecordingTransaction>(recorder);
  recorder.handedBack = other;
  arrives(44);
  EXPECT_EQ(orders->Transaction().get(), other.get());
  step("committed by the client before it acknowledges");
  orders->Commit();
  orders->AcknowledgeDocument();
}

TEST_F(QueuingCalls, OutsideATransactionAnArrivalIsPeekedAndReceivedAtItsAcknowledgement) {
  const auto orders = queue();
  const auto client = listening<__MSMQQueue>(orders);
  orders->ReceiveEnable();
  arrives(42);
  step("acknowledged");
  orders->AcknowledgeDocument();
  step("a failing acknowledgement: no longer pending, and not armed");
  arrives(43);
  recorder.failing = "receive Receive";
  fails([&] { orders->AcknowledgeDocument(); });
  orders->AcknowledgeDocument();
  step("disarmed with a document pending");
  recorder.failing.clear();
  orders->ReceiveEnable();
  arrives(44);
  orders->BeginTransaction();
  orders->ReceiveDisable();
  EXPECT_TRUE(orders->Transaction());
  step("nothing more");
  orders->ReceiveDisable();
  orders->AcknowledgeDocument();
  recorder.arrive();
}

TEST_F(QueuingCalls, TheNotifiedQueueIsKnownByNamesAlone) {
  const auto orders = queue();
  const auto client = listening<__MSMQQueue>(orders);
  orders->ReceiveEnable();
  recorder.arriveFrom(asDispatch(make<NamedObject>(recorder, message(42))));
  EXPECT_FALSE(orders->Transaction());
}

TEST_F(QueuingCalls, ArrivalsThatFailAreReportedAndNotAnnounced) {
  recorder.isTransactional = true;
  const auto orders = queue();
  const auto client = listening<__MSMQQueue>(orders);
  orders->ReceiveEnable();
  step("somebody else was faster");
  recorder.arrive();
  EXPECT_TRUE(orders->Transaction());
  step("a body that does not decompress: it stays in the transaction, pending, and nothing is armed");
  prepared(42)->appSpecific = 1;
  recorder.arrive();
  orders->AcknowledgeDocument();
  step("a label with an element that does not end");
  prepared(43)->label = u"Msg Type: <ORDER";
  recorder.arrive();
  step("another message is removed meanwhile: this one stays pending");
  const auto other = make<MSMQMessage>();
  other->QueueMessage_Set(make<RecordingMessage>(recorder));
  orders->AcknowledgeMessage(*other);
  orders->AcknowledgeDocument();
  step("nothing is taken");
  recorder.failing = "receive Receive";
  recorder.arrive();
  step("nothing to acknowledge");
  orders->AcknowledgeDocument();
}

TEST_F(QueuingCalls, InitializingAgainLetsGoOfTheQueueBefore) {
  recorder.isTransactional = true;
  const auto orders = make<MSMQQueue>();
  orders->BeginTransaction();
  orders->SendDocument(String(u"inside"));  // which initialises, but not anew
  recorder.failing = "Abort";
  fails([&] { orders->Initialize(String(u"Other"), false); });
  EXPECT_EQ(orders->Name(), u"InboundGateway");
  recorder.failing.clear();
  const auto client = listening<__MSMQQueue>(orders);
  orders->ReceiveEnable();
  arrives(42);
  step("initialised: handles are let go of without a call");
  orders->Initialize(String(u"Other"), false);
  step("nothing to end");
  orders->AcknowledgeDocument();
  orders->Commit();
  arrives(43);
  step("everything goes to the other");
  orders->SendDocument(String(u"text"));
  orders->IsEmpty();
}

TEST_F(QueuingCalls, AClientsHandlerMayThrowAcknowledgeAndInitializeAgain) {
  recorder.isTransactional = true;
  auto orders = queue();
  const auto client = listening<__MSMQQueue>(orders);
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
  step("let go in its handler");
  handle = [&](std::span<VARIANT>) { orders = nullptr; };
  arrives(43);
}

TEST_F(QueuingCalls, DeletingOneMessageByItsIdentifier) {
  const auto orders = queue();
  orders->IsEmpty();
  step("not there");
  orders->AcknowledgeMessage(*chosen(42));
  const auto found = [&](const char* how) {
    step(how);
    prepared(41);
    prepared(42);
    orders->AcknowledgeMessage(*chosen(42));
  };
  found("there");
  recorder.isTransactional = true;
  found("in a transactional queue");
  orders->BeginTransaction();
  const auto other = make<RecordingTransaction>(recorder);
  recorder.handedBack = other;
  found("in a transaction, which is replaced");
  EXPECT_EQ(orders->Transaction().get(), other.get());
}

TEST_F(QueuingCalls, ACursorPeeksWithoutBodiesAndAMessageFetchesItsOwnOnce) {
  const auto orders = queue();
  const auto& messages = orders->Messages();
  prepared(1);
  prepared(2);
  messages->Refresh();
  step("properties: no call");
  const auto second = messages->Item(Variant(u"0000000002").get());
  EXPECT_EQ(second.get(), messages->Item(Variant(std::int32_t{2}).get()).get());
  EXPECT_EQ(second->BodyLength(), 5);
  EXPECT_EQ(second->TimeToAcknowledge(), -1);
  EXPECT_EQ(second->SentTime().value, 46348.4375);
  step("the body is fetched");
  prepared(2, "not this one")->id[0] = 9;  // the same end, another beginning
  prepared(2);
  prepared(2, "whole");
  EXPECT_EQ(toString(second->Body().get()), u"whole");
  step("once");
  EXPECT_EQ(toString(second->Body().get()), u"whole");
  step("gone in the meantime: what the peeked message says; and it is looked for again the next time");
  const auto first = messages->Item(Variant(std::int32_t{1}).get());
  EXPECT_EQ(toString(first->Body().get()), u"text");
  first->Body();
  messages->Remove(Variant(u"0000000001").get());
  EXPECT_EQ(messages->Count(), 1);
  fails([&] { messages->Item(Variant(u"0000000001").get()); });
  step("identifiers that end alike");
  for (const int number : {3, 4, 3}) prepared(static_cast<std::uint8_t>(number));
  fails([&] { messages->Refresh(); });
  EXPECT_EQ(messages->Count(), 2);
  recorder.failing = "Open";
  fails([&] { messages->Refresh(); });
  EXPECT_EQ(messages->Count(), 0);
}

TEST_F(QueuingCalls, AJournalHasItsOwnQueueAndCursor) {
  const auto orders = queue();
  const auto journal = queue(true);
  EXPECT_FALSE(journal->Journal());
  step("its queue");
  journal->Quota();
  step("its cursor");
  orders->Journal()->Messages()->Refresh();
  step("purged");
  orders->Journal()->Purge();
}

TEST_F(QueuingCalls, MembersThatAreNotServedAndObjectsOfOtherStores) {
  const auto orders = queue();
  const Ref<IQueue> back(orders);
  const Ref<_Queue> published(orders);
  fails([&] { call<&IQueue::raw_ReceiveNext>(back); });
  fails([&] { call<&_Queue::raw_ReceiveNext>(published); });
  fails([&] { call<&_Queue::raw_ReceiveEnable>(published); });
  fails([&] { call<&_Queue::raw_ReceiveDisable>(published); });
  fails([&] { orders->Queue_Transaction_Set(Variant(asDispatch(orders)).get()); });
  const auto foreign = make<DbMessage>(String(), String(), Date{}, String(), String());
  fails([&] { call<&IQueue::raw_SendMessage>(back, foreign); });
  fails([&] { call<&IQueue::raw_AcknowledgeMessage>(back, foreign); });
  fails([&] { call<&_Queue::raw_SendMessage>(published, foreign); });
  fails([&] { call<&IQueue::putref_Journal>(back, make<DbJournal>()); });
  fails([&] { call<&_Queue::putref_Messages>(published, make<DbMessages>()); });
  fails([&] { make<MSMQUtility>()->IUtility_GetBody(asDispatch(orders)); });
  const auto ownJournal = make<MSMQJournal>();
  call<&IQueue::putref_Journal>(back, ownJournal);
  EXPECT_EQ(orders->Journal().get(), ownJournal.get());
  const auto cursor = make<MSMQMessages>();
  call<&_Queue::putref_Messages>(published, cursor);
  EXPECT_EQ(orders->Messages().get(), cursor.get());
  call<&_Journal::putref_Messages>(Ref<_Journal>(ownJournal), cursor);
  EXPECT_EQ(ownJournal->Messages().get(), cursor.get());
  call<&_Queue::putref_Journal>(published, static_cast<_Journal*>(nullptr));
  EXPECT_FALSE(orders->Journal());
}

TEST_F(QueuingCalls, TheUtilityIsOfMessageQueuingWhateverIsConfigured) {
  const auto utility = make<MSMQUtility>();
  recorder.settings["QueueStoreType"] = u"db";
  utility->CreateQueue(String(u"Orders"));
  EXPECT_TRUE(tryQuery<IQueues>(utility->GetQueues().get()));
  step("a queue that cannot be named is created too");
  recorder.failing = "FormatName";
  utility->OpenQueue(String(u"Orders"), MQ_SEND_ACCESS, false);
  fails([&] { call<&IUtility::put_QueueStoreType>(Ref<IUtility>(utility), u"oracle"); });
}

class QueueFiles : public QueuingCalls {
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
    queues = make<MSMQQueues>();
    lists();
  }
  Ref<MSMQQueues> queues = make<MSMQQueues>();
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
  EXPECT_EQ(queues->Item(Variant(u"HIDDEN").get())->Name(), u"hidden");
  step("removed from the list alone");
  queues->Remove(Variant(u"hidden").get());
  EXPECT_EQ(queues->Count(), 0);
  step("two queues of one name, and a number that is none: the list has what stands before them");
  recorder.settings["UsesPublicQueues"] = true;
  file(u"7", u"ORDERS");
  fails([&] { queues->Refresh(); });
  EXPECT_EQ(queues->Count(), 2);
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
  recorder.version.platformId = 1;
  const std::pair<std::int32_t, std::int32_t> unexpected[] = {{2, 3}, {1, 4}, {1, 10}};
  for (const auto& [platformId, majorVersion] : unexpected) {
    recorder.version.platformId = platformId;
    recorder.version.majorVersion = majorVersion;
    queues = make<MSMQQueues>();
    queues->Add(String(u"before"));
    fails([&] { queues->Refresh(); });
    EXPECT_EQ(queues->Count(), 0);
  }
  step("a queue of platform 1");
  make<MSMQUtility>()->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, false);
}

TEST_F(QueueFiles, QueuesAreLookedForAndAddedInMessageQueuing) {
  EXPECT_TRUE(queues->Exists(String(u"Orders")));
  queues->Add(String(u"Orders"));
  fails([&] { queues->Add(String(u"ORDERS")); });
  step("missing");
  recorder.failing = "Open";
  EXPECT_FALSE(queues->Exists(String(u"Orders")));
  queues->Add(String(u"New"));
  EXPECT_EQ(queues->Count(), 2);
  step("an old system");
  recorder.version.majorVersion = 4;
  make<MSMQQueues>()->Exists(String(u"Orders"));
}

}  // namespace

}  // namespace CorvaneQueue
