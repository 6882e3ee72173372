// The Message Queuing back end against a recording door: which calls, in which order, with which values.
#include "DbJournal.h"
#include "DbMessages.h"
#include "Expect.h"
#include "modCompress.h"
#include "MSMQJournal.h"
#include "MSMQQueues.h"
#include "RecordingPlatform.h"
#include "ZstdCompression.h"

#include <CorvaneQueue/Queue.h>
#include <gmock/gmock.h>

namespace CorvaneQueue {

// Queues of other makers, of which nothing is known but names: this one answers null to IsTransactional.
struct INamedQueue : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_QueueInfo(IDispatch** result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_IsTransactional(VARIANT* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_Peek(VARIANT* destination, VARIANT* body, VARIANT* timeout,
                                             IDispatch** result) noexcept = 0;
};
template <>
struct InterfaceTraits<INamedQueue> {
  static constexpr IID iid = {7, 7, 8, {8}};
  static constexpr const char16_t* name = u"INamedQueue";
  static constexpr std::array table{get<&INamedQueue::get_QueueInfo>(1, u"QueueInfo"),
                                    get<&INamedQueue::get_IsTransactional>(2, u"IsTransactional"),
                                    function<&INamedQueue::raw_Peek>(3, u"Peek").optional(3)};
  static constexpr std::span<const Member> members = table;
};

namespace {

class NamedQueue final : public Object<NamedQueue, DispatchForm<INamedQueue>> {
 public:
  explicit NamedQueue(Ref<IDispatch> message) : message_(std::move(message)) {}
  HRESULT STDMETHODCALLTYPE get_QueueInfo(IDispatch** result) noexcept final {
    return answer(result, [&] { return asDispatch(Ref<NamedQueue>(this)); });
  }
  HRESULT STDMETHODCALLTYPE get_IsTransactional(VARIANT* result) noexcept final {
    result->vt = VT_NULL;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE raw_Peek(VARIANT*, VARIANT*, VARIANT* timeout,
                                     IDispatch** result) noexcept final {
    EXPECT_EQ(toInt32(*timeout), 100);
    return answer(result, [&] { return message_; });
  }

 private:
  Ref<IDispatch> message_;
};

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// An identifier that ends in this number.
std::vector<std::uint8_t> identifier(std::uint8_t number) {
  std::vector<std::uint8_t> id(20);
  id[16] = number;
  return id;
}

class QueuingCalls : public ::testing::Test {
 protected:
  Ref<MSMQQueue> queue(bool isJournal = false) {
    const auto made = make<MSMQQueue>();
    made->Initialize(String(u"Orders"), isJournal);
    return made;
  }
  // The calls that reach Message Queuing; not the queue settings and reports on the way.
  std::vector<std::string> calls() {
    auto found = recorder.take();
    std::erase_if(found, [](const std::string& call) {
      for (const char* other : {"application", "section", "read", "first", "second", "default ", "toAnsi"})
        if (call.starts_with(other)) return true;
      return false;
    });
    return found;
  }
  Ref<RecordingMessage> prepared(std::uint8_t number, std::string_view text = "text") {
    const auto message = make<RecordingMessage>(recorder);
    message->id = identifier(number);
    message->label = u"Msg Type: <ORDER> ";
    message->body = Variant::bytes({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    recorder.messages.push_back(message);
    return message;
  }
  std::string sentBody(bool isCompressed) const {
    const Variant body = call<&IMSMQMessage::get_Body>(recorder.sent);
    if (isCompressed) return toUtf8(toString(modCompress::Decompress(body.get()).get()));
    const auto bytes = bytesOf(body.get());
    return {bytes.begin(), bytes.end()};
  }
  // Subscribes to the queue; what arrives is in `arrived`.
  Subscription listening(const Ref<MSMQQueue>& to) {
    return {static_cast<_Queue*>(to.get()), arrivalKind<__MSMQQueue>, [this](std::span<VARIANT> arguments) {
              arrived.push_back(toUtf8(toString(arguments[1])) + " " + toUtf8(toString(arguments[0])));
              if (handle) handle(arguments);
            }};
  }
  platform_layer::ZstdCompression compression;
  RecordingPlatform door{&compression};
  Recorder& recorder = door.recorder;
  std::vector<std::string> arrived;
  std::function<void(std::span<VARIANT>)> handle;
};

TEST_F(QueuingCalls, SendingInitialisesOpensAndSends) {
  const auto orders = make<MSMQQueue>();
  EXPECT_THAT(recorder.take("names"), ElementsAre("default names CorvaneQueue MSMQQueue"));
  orders->MsgType_Let(String(u"ORDER"));
  orders->SendDocument(String(u"text"));
  auto made = recorder.take();
  std::erase_if(made, [](const std::string& call) { return call.starts_with("default "); });
  EXPECT_THAT(
      made,
      ElementsAre("new MSMQMessage", "Label = Msg Type: <ORDER> ",
                  // the journal has its own queue object, and reads its own setting
                  "first InboundGatewayQueue", "second InboundGatewayQueue", "read CompressMessages int32 0",
                  "first InboundGatewayQueue", "second InboundGatewayQueue", "read CompressMessages int32 0",
                  "toAnsi", "Body", "Delivery = 1", "new MSMQQueueInfo", "application Configuration",
                  "section Global", "read UsesPublicQueues int16 -1", "application Configuration",
                  "section Global", "read queueFormatNamePrefix \"DIRECT=OS:.\"",
                  "FormatName DIRECT=OS:.\\InboundGateway", "Open 2 0", "send IsTransactional",
                  "Send omitted"));
  EXPECT_EQ(sentBody(false), "text");

  recorder.isTransactional = true;
  orders->SendDocument(String(u"alone"));
  EXPECT_EQ(calls().back(), "Send int32 3");
  const auto other = make<RecordingTransaction>(recorder);
  orders->BeginTransaction();
  recorder.handedBack = other;
  orders->SendDocument(String(u"inside"));
  EXPECT_EQ(calls().back(), "Send &transaction 2");
  EXPECT_EQ(orders->Transaction().get(), other.get());
  orders->Transaction_Set(nullptr);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(QueuingCalls, ReportsGoToTheTraceOnceThereIsOne) {
  recorder.take();
  make<MSMQUtility>();
  EXPECT_THAT(recorder.take(), ElementsAre("default component CorvaneQueue", "default class MSMQUtility"));
  const auto orders = queue();
  recorder.take();
  orders->ProcessTrace_Set(make<RecordingTrace>(recorder));
  EXPECT_THAT(recorder.take(), ElementsAre("trace CorvaneQueue MSMQQueue"));
  EXPECT_EQ(errorNumber([&] { orders->Queue_ReceiveEnable(); }), E_NOTIMPL);
  orders->ProcessTrace_Set(nullptr);  // changes nothing
  EXPECT_EQ(errorNumber([&] { orders->Queue_ReceiveEnable(); }), E_NOTIMPL);
  EXPECT_EQ(recorder.take("traced report").size(), 2u);
}

TEST_F(QueuingCalls, OnlyTheNumber1TurnsCompressionOn) {
  const std::pair<Variant, bool> settings[] = {
      {std::int32_t{1}, true}, {std::int32_t{0}, false}, {std::int32_t{2}, false}, {u"1", false}};
  for (const auto& [value, isCompressed] : settings) {
    recorder.settings["CompressMessages"] = value;
    const auto orders = queue();
    EXPECT_EQ(orders->CompressMessages(), isCompressed);
    orders->SendDocument(String(u"text"));
    EXPECT_THAT(recorder.take("AppSpecific"),
                isCompressed ? ::testing::Matcher<std::vector<std::string>>(ElementsAre("AppSpecific = 1"))
                             : IsEmpty());
    EXPECT_EQ(sentBody(isCompressed), "text");
  }
}

TEST_F(QueuingCalls, CopyingKeepsOrChangesTheCompression) {
  for (const bool isSourceCompressed : {true, false})
    for (const bool compresses : {true, false}) {
      recorder.settings["CompressMessages"] = std::int32_t{compresses ? 1 : 0};
      const auto orders = queue();
      const auto source = make<MSMQMessage>();
      source->Name_Let(u"Source");
      const auto peeked = make<RecordingMessage>(recorder);
      peeked->id = identifier(7);
      source->QueueMessage_Set(peeked);
      prepared(7);                             // found
      const auto whole = prepared(7, "text");  // and read with its body
      whole->appSpecific = isSourceCompressed ? 1 : 0;
      if (isSourceCompressed) whole->body = modCompress::Compress(Variant(u"text").get());
      calls();
      orders->SendMessage(*source);
      auto expected = std::vector<std::string>{"new MSMQMessage",
                                               "Label = ",
                                               "new MSMQQueueInfo",
                                               "FormatName DIRECT=OS:.\\Source",
                                               "Open 32 0",
                                               "peek Reset",
                                               "peek PeekCurrent False False int32 100",
                                               "peek PeekCurrent False True int32 100",
                                               "Body"};
      if (compresses) expected.push_back("AppSpecific = 1");
      auto made = calls();
      std::erase(made, "fromAnsi");
      made.resize(expected.size());
      EXPECT_EQ(made, expected) << isSourceCompressed << compresses;
      EXPECT_EQ(sentBody(compresses), "text");
    }
}

TEST_F(QueuingCalls, SettingsGoToTheSendHandleAndAreReadBackByTheOther) {
  const auto orders = queue();
  orders->IsEmpty();
  orders->Quota();
  calls();
  orders->Quota_Let(5);
  EXPECT_THAT(calls(), ElementsAre("send Quota = 5", "send Update", "receive Refresh"));
  orders->QueueSize_Let(6);
  EXPECT_THAT(calls(), ElementsAre("send Quota = 6", "send Update", "receive Refresh"));
  orders->JournalEnabled_Let(true);
  EXPECT_THAT(calls(), ElementsAre("send Journal = 1", "send Update", "receive Refresh"));
  orders->JournalEnabled_Let(false);
  EXPECT_THAT(calls(), ElementsAre("send Journal = 0", "send Update", "receive Refresh"));
  orders->JournalQuota_Let(7);
  EXPECT_THAT(calls(), ElementsAre("send Journal", "send JournalQuota = 7", "send Journal = 1", "send Update",
                                   "receive Refresh"));
  recorder.quota = 9;
  EXPECT_EQ(orders->QueueSize(), 9);
  EXPECT_EQ(orders->JournalQuota(), 9);
  EXPECT_TRUE(orders->JournalEnabled());
  recorder.journal = 2;
  EXPECT_FALSE(orders->JournalEnabled());
  EXPECT_THAT(calls(), ElementsAre("send Quota", "send JournalQuota", "send Journal", "send Journal"));
}

TEST_F(QueuingCalls, LookingAndPurging) {
  const auto orders = queue();
  calls();
  EXPECT_TRUE(orders->IsEmpty());
  EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders", "Open 1 0",
                                   "receive Reset", "receive PeekCurrent omitted omitted int32 100"));
  prepared(1);
  EXPECT_FALSE(orders->IsEmpty());
  calls();
  prepared(1);
  orders->Purge();
  EXPECT_THAT(calls(), ElementsAre("receive Reset", "receive IsTransactional",
                                   "receive ReceiveCurrent omitted False False int32 10",
                                   "receive ReceiveCurrent omitted False False int32 10"));
  recorder.isTransactional = true;
  orders->BeginTransaction();
  calls();
  prepared(1);
  orders->Purge();
  EXPECT_THAT(calls(),
              ElementsAre("receive Reset", "receive IsTransactional", "Abort 1 omitted omitted",
                          "BeginTransaction", "receive ReceiveCurrent &transaction 2 False False int32 10",
                          "receive ReceiveCurrent &transaction 2 False False int32 10",
                          "Commit 2 omitted omitted omitted"));
  EXPECT_FALSE(orders->Transaction());
}

TEST_F(QueuingCalls, OneTransactionAtATime) {
  auto orders = queue();
  calls();
  orders->Commit();
  orders->Abort();
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_EQ(orders->IQueue_BeginTransaction(), 1001);
  EXPECT_THAT(calls(), ElementsAre("new MSMQCoordinatedTransactionDispenser", "BeginTransaction"));
  recorder.failing = "Commit";  // then it is still there, and may be tried again
  EXPECT_EQ(errorNumber([&] { orders->Commit(); }), 4711);
  recorder.failing = "Abort";
  EXPECT_EQ(errorNumber([&] { orders->Abort(); }), 4711);
  EXPECT_TRUE(orders->Transaction());
  recorder.failing.clear();
  calls();
  const Variant transaction = orders->Queue_BeginTransaction();
  EXPECT_THAT(calls(), ElementsAre("Abort 1 omitted omitted", "BeginTransaction"));
  orders->Commit();
  orders->Queue_Transaction_Set(transaction.get());
  EXPECT_EQ(orders->Queue_Transaction_Get().get().pdispVal, transaction.get().pdispVal);
  calls();
  recorder.failing = "Abort";  // nobody hears of it
  orders = nullptr;
  EXPECT_THAT(calls(), ElementsAre("Abort 2 omitted omitted"));
}

TEST_F(QueuingCalls, AnArrivalIsReceivedAnnouncedAndCommitted) {
  recorder.isTransactional = true;
  const auto orders = queue();
  const auto client = listening(orders);
  handle = [&](std::span<VARIANT> arguments) {
    EXPECT_EQ(orders->LastDocument(), u"text");
    SysFreeString(*arguments[1].pbstrVal);
    *arguments[1].pbstrVal = SysAllocString(u"changed");
  };
  orders->Object_Let(String(u"kept"));
  calls();
  orders->ReceiveEnable();
  EXPECT_THAT(calls(), ElementsAre("new MSMQEvent", "new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders",
                                   "Open 1 0", "receive EnableNotification omitted omitted"));
  prepared(42);
  recorder.arrive();
  EXPECT_THAT(calls(), ElementsAre("receive IsTransactional", "new MSMQCoordinatedTransactionDispenser",
                                   "BeginTransaction",
                                   "receive Receive &transaction 1 omitted omitted &int32 100", "fromAnsi"));
  EXPECT_THAT(arrived, ElementsAre("text 0000000042"));
  EXPECT_EQ(orders->LastDocument(), u"changed");
  EXPECT_EQ(orders->MsgType(), u"ORDER");
  EXPECT_EQ(orders->Object(), u"kept");
  orders->IQueue_AcknowledgeDocument(String(u"ignored"));
  EXPECT_THAT(calls(), ElementsAre("receive IsTransactional", "Commit 1 omitted omitted omitted",
                                   "receive EnableNotification omitted omitted"));
  orders->AcknowledgeDocument();  // nothing is pending
  EXPECT_THAT(calls(), IsEmpty());

  // Given up by arming again: it stays in the transaction, which the next one joins.
  prepared(43);
  recorder.arrive();
  orders->ReceiveEnable();
  recorder.take();
  orders->AcknowledgeDocument();
  EXPECT_THAT(recorder.take(), IsEmpty());
  const auto other = make<RecordingTransaction>(recorder);
  recorder.handedBack = other;
  prepared(44);
  recorder.take();
  recorder.arrive();
  EXPECT_THAT(recorder.take("Receive "),
              ElementsAre("receive Receive &transaction 2 omitted omitted &int32 100"));
  EXPECT_EQ(orders->Transaction().get(), other.get());
  // Committed by the client before it acknowledges.
  orders->Commit();
  recorder.take();
  orders->AcknowledgeDocument();
  EXPECT_THAT(recorder.take(), ElementsAre("receive IsTransactional",
                                           "default description Unexpected state: transaction committed.",
                                           "default report keep 2 100 AcknowledgeDocument",
                                           "receive EnableNotification omitted omitted"));
}

TEST_F(QueuingCalls, OutsideATransactionAnArrivalIsPeekedAndReceivedAtItsAcknowledgement) {
  const auto orders = queue();
  const auto client = listening(orders);
  orders->ReceiveEnable();
  prepared(42);
  calls();
  recorder.arrive();
  EXPECT_THAT(calls(),
              ElementsAre("receive IsTransactional", "receive Peek omitted omitted int32 100", "fromAnsi"));
  orders->AcknowledgeDocument();
  EXPECT_THAT(calls(), ElementsAre("receive IsTransactional", "receive Receive omitted False False omitted",
                                   "receive EnableNotification omitted omitted"));
  // A failing acknowledgement: no longer pending, and not armed.
  prepared(43);
  recorder.arrive();
  recorder.failing = "receive Receive";
  EXPECT_EQ(errorNumber([&] { orders->AcknowledgeDocument(); }), 4711);
  EXPECT_THAT(recorder.take("EnableNotification"), IsEmpty());
  orders->AcknowledgeDocument();
  EXPECT_THAT(calls(), IsEmpty());
  // Disarmed with a document pending.
  recorder.failing.clear();
  orders->ReceiveEnable();
  prepared(44);
  recorder.arrive();
  orders->BeginTransaction();
  calls();
  orders->ReceiveDisable();
  EXPECT_THAT(calls(), ElementsAre("receive Close"));
  EXPECT_TRUE(orders->Transaction());
  orders->ReceiveDisable();
  orders->AcknowledgeDocument();
  recorder.arrive();
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_EQ(arrived.size(), 3u);
}

TEST_F(QueuingCalls, TheNotifiedQueueIsKnownByNamesAlone) {
  const auto orders = queue();
  const auto client = listening(orders);
  orders->ReceiveEnable();
  const Ref<IDispatch> message = prepared(42);
  recorder.arriveFrom(asDispatch(make<NamedQueue>(message)));
  EXPECT_THAT(arrived, ElementsAre("text 0000000042"));
  EXPECT_FALSE(orders->Transaction());
}

TEST_F(QueuingCalls, ArrivalsThatFailAreReportedAndNotAnnounced) {
  recorder.isTransactional = true;
  const auto orders = queue();
  const auto client = listening(orders);
  orders->ReceiveEnable();
  recorder.take();
  recorder.arrive();  // somebody else was faster
  EXPECT_THAT(
      recorder.take(),
      ElementsAre("receive IsTransactional", "new MSMQCoordinatedTransactionDispenser", "BeginTransaction",
                  "receive Receive &transaction 1 omitted omitted &int32 100",
                  "default description Event raised but no message recieved after '100' milliseconds.",
                  "default report keep 2 100 mobjMSMQQueueEvent_Arrived", "new MSMQEvent",
                  "receive EnableNotification omitted omitted"));
  EXPECT_TRUE(orders->Transaction());
  // A body that does not decompress: it stays in the transaction, pending, and nothing is armed.
  prepared(42)->appSpecific = 1;
  recorder.arrive();
  EXPECT_THAT(recorder.take("default"), ElementsAre("default take 100 Decompress",
                                                    "default report keep 1 100 mobjMSMQQueueEvent_Arrived"));
  orders->AcknowledgeDocument();
  EXPECT_THAT(calls(), ElementsAre("receive IsTransactional", "Commit 1 omitted omitted omitted",
                                   "receive EnableNotification omitted omitted"));
  // A label with an element that does not end.
  prepared(43)->label = u"Msg Type: <ORDER";
  recorder.arrive();
  EXPECT_EQ(recorder.take("default report").size(), 1u);
  // Another message is removed meanwhile: this one stays pending.
  const auto chosen = make<MSMQMessage>();
  chosen->QueueMessage_Set(make<RecordingMessage>(recorder));
  orders->AcknowledgeMessage(*chosen);
  orders->AcknowledgeDocument();
  EXPECT_EQ(recorder.take("Commit").size(), 1u);
  recorder.failing = "receive Receive";
  recorder.arrive();
  EXPECT_THAT(recorder.take("default"),
              ElementsAre("default take 4711 door", "default report keep 1 4711 mobjMSMQQueueEvent_Arrived"));
  orders->AcknowledgeDocument();  // nothing had been taken
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_THAT(arrived, IsEmpty());
}

TEST_F(QueuingCalls, InitializingAgainLetsGoOfTheQueueBefore) {
  recorder.isTransactional = true;
  const auto orders = make<MSMQQueue>();
  orders->BeginTransaction();
  orders->SendDocument(String(u"inside"));  // which initialises, but not anew
  EXPECT_THAT(recorder.take("Abort"), IsEmpty());
  recorder.failing = "Abort";
  EXPECT_EQ(errorNumber([&] { orders->Initialize(String(u"Other"), false); }), 4711);
  EXPECT_EQ(orders->Name(), u"InboundGateway");
  recorder.failing.clear();
  const auto client = listening(orders);
  orders->ReceiveEnable();
  prepared(42);
  recorder.arrive();
  calls();
  orders->Initialize(String(u"Other"), false);
  EXPECT_THAT(calls(), ElementsAre("Abort 1 omitted omitted"));  // handles are let go of without a call
  orders->AcknowledgeDocument();
  orders->Commit();
  EXPECT_THAT(calls(), IsEmpty());
  prepared(43);
  recorder.arrive();
  EXPECT_THAT(arrived, ElementsAre("text 0000000042"));
  orders->SendDocument(String(u"text"));
  orders->IsEmpty();
  EXPECT_THAT(recorder.take("FormatName "),
              ElementsAre("FormatName DIRECT=OS:.\\Other", "FormatName DIRECT=OS:.\\Other"));
}

TEST_F(QueuingCalls, AClientsHandlerMayThrowAcknowledgeAndInitializeAgain) {
  recorder.isTransactional = true;
  auto orders = queue();
  const auto client = listening(orders);
  handle = [&](std::span<VARIANT>) {
    orders->AcknowledgeDocument();
    orders->Initialize(String(u"Orders"), false);
    throw Error(5, u"client", u"No good.");
  };
  for (int i = 0; i < 2; ++i) {
    orders->ReceiveEnable();
    prepared(42);
    recorder.take();
    recorder.arrive();
    EXPECT_EQ(recorder.take("Commit").size(), 1u);
  }
  orders->ReceiveEnable();
  handle = [&](std::span<VARIANT>) { orders = nullptr; };
  prepared(43);
  recorder.arrive();
  EXPECT_THAT(recorder.take("Abort"), ElementsAre("Abort 3 omitted omitted"));
  EXPECT_EQ(arrived.size(), 3u);
}

TEST_F(QueuingCalls, DeletingOneMessageByItsIdentifier) {
  const auto orders = queue();
  const auto chosen = make<MSMQMessage>();
  chosen->QueueMessage_Set(prepared(42));
  recorder.messages.clear();
  orders->IsEmpty();
  calls();
  orders->AcknowledgeMessage(*chosen);
  EXPECT_THAT(calls(), ElementsAre("receive Reset", "receive PeekCurrent omitted omitted int32 100"));
  const auto found = [&] {
    prepared(41);
    prepared(42);
    orders->AcknowledgeMessage(*chosen);
    auto made = calls();
    EXPECT_EQ(
        std::vector(made.begin(), made.begin() + 4),
        (std::vector<std::string>{"receive Reset", "receive PeekCurrent omitted omitted int32 100",
                                  "receive PeekNext omitted omitted int32 100", "receive IsTransactional"}));
    return made.back();
  };
  EXPECT_EQ(found(), "receive ReceiveCurrent omitted False False omitted");
  recorder.isTransactional = true;
  EXPECT_EQ(found(), "receive ReceiveCurrent int32 0 False False omitted");
  orders->BeginTransaction();
  calls();
  const auto other = make<RecordingTransaction>(recorder);
  recorder.handedBack = other;
  EXPECT_EQ(found(), "receive ReceiveCurrent &transaction 1 False False omitted");
  EXPECT_EQ(orders->Transaction().get(), other.get());
}

TEST_F(QueuingCalls, ACursorPeeksWithoutBodiesAndAMessageFetchesItsOwnOnce) {
  const auto orders = queue();
  const auto& messages = orders->Messages();
  prepared(1);
  prepared(2);
  calls();
  messages->Refresh();
  EXPECT_THAT(calls(),
              ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders", "Open 32 0", "peek Reset",
                          "peek PeekCurrent omitted False int32 100", "peek PeekNext omitted False int32 100",
                          "peek PeekNext omitted False int32 100"));
  const auto second = messages->Item(Variant(u"0000000002").get());
  EXPECT_EQ(second.get(), messages->Item(Variant(std::int32_t{2}).get()).get());
  EXPECT_EQ(second->BodyLength(), 5);
  EXPECT_EQ(second->TimeToAcknowledge(), -1);
  EXPECT_EQ(second->SentTime().value, 46348.4375);
  EXPECT_THAT(calls(), IsEmpty());
  prepared(2, "not this one")->id[0] = 9;  // the same end, another beginning
  prepared(2);
  prepared(2, "whole");
  EXPECT_EQ(toString(second->Body().get()), u"whole");
  EXPECT_THAT(calls(),
              ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders", "Open 32 0", "peek Reset",
                          "peek PeekCurrent False False int32 100", "peek PeekNext False False int32 100",
                          "peek PeekCurrent False True int32 100", "fromAnsi"));
  EXPECT_EQ(toString(second->Body().get()), u"whole");
  EXPECT_THAT(calls(), ElementsAre("fromAnsi"));
  // Gone in the meantime: what the peeked message says; and it is looked for again the next time.
  const auto first = messages->Item(Variant(std::int32_t{1}).get());
  EXPECT_EQ(toString(first->Body().get()), u"text");
  calls();
  first->Body();
  EXPECT_THAT(calls(), ElementsAre("peek Reset", "peek PeekCurrent False False int32 100", "fromAnsi"));
  messages->Remove(Variant(u"0000000001").get());
  EXPECT_EQ(messages->Count(), 1);
  EXPECT_EQ(errorNumber([&] { messages->Item(Variant(u"0000000001").get()); }), 5);
  // Identifiers that end alike.
  prepared(3);
  prepared(4);
  prepared(3);
  EXPECT_EQ(errorNumber([&] { messages->Refresh(); }), 457);
  EXPECT_EQ(messages->Count(), 2);
  recorder.failing = "Open";
  EXPECT_EQ(errorNumber([&] { messages->Refresh(); }), 4711);
  EXPECT_EQ(messages->Count(), 0);
}

TEST_F(QueuingCalls, AJournalHasItsOwnQueueAndCursor) {
  const auto orders = queue();
  const auto journal = queue(true);
  EXPECT_FALSE(journal->Journal());
  calls();
  journal->Quota();
  EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders", "Open 2 0",
                                   "new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders;JOURNAL", "Open 2 0",
                                   "send Quota"));
  calls();
  orders->Journal()->Messages()->Refresh();
  EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders", "Open 32 0",
                                   "new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders;JOURNAL", "Open 32 0",
                                   "peek Reset", "peek PeekCurrent omitted False int32 100"));
  orders->Journal()->Purge();
  EXPECT_THAT(recorder.take("FormatName DIRECT"),
              ElementsAre("FormatName DIRECT=OS:.\\Orders", "FormatName DIRECT=OS:.\\Orders;JOURNAL"));
}

TEST_F(QueuingCalls, MembersThatAreNotServedAndObjectsOfOtherStores) {
  const auto orders = queue();
  const Ref<IQueue> back(orders);
  expectError(100, u"CorvaneQueue.MSMQQueue", "Not implemented",
              [&] { call<&IQueue::raw_ReceiveNext>(back); });
  const Ref<_Queue> published(orders);
  expectError(100, u"CorvaneQueue.MSMQQueue", "Not implemented",
              [&] { call<&_Queue::raw_ReceiveNext>(published); });
  recorder.take();
  expectError(E_NOTIMPL, u"Queue_ReceiveEnable", "Not implemented",
              [&] { call<&_Queue::raw_ReceiveEnable>(published); });
  expectError(E_NOTIMPL, u"Queue_ReceiveDisable", "Not implemented",
              [&] { call<&_Queue::raw_ReceiveDisable>(published); });
  EXPECT_THAT(recorder.take("default"),
              ElementsAre("default description Not implemented",
                          "default report raise 1 -2147467263 Queue_ReceiveEnable",
                          "default description Not implemented",
                          "default report raise 1 -2147467263 Queue_ReceiveDisable"));
  EXPECT_EQ(errorNumber([&] { orders->Queue_Transaction_Set(Variant(asDispatch(orders)).get()); }), 13);
  const auto foreign = make<DbMessage>(String(), String(), Date{}, String(), String());
  EXPECT_EQ(errorNumber([&] { call<&IQueue::raw_SendMessage>(back, foreign); }), 13);
  EXPECT_EQ(errorNumber([&] { call<&IQueue::raw_AcknowledgeMessage>(back, foreign); }), 13);
  EXPECT_EQ(errorNumber([&] { call<&_Queue::raw_SendMessage>(published, foreign); }), 13);
  EXPECT_EQ(errorNumber([&] { call<&IQueue::putref_Journal>(back, make<DbJournal>()); }), 13);
  EXPECT_EQ(errorNumber([&] { call<&_Queue::putref_Messages>(published, make<DbMessages>()); }), 13);
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
  const auto utility = make<MSMQUtility>();
  EXPECT_EQ(errorNumber([&] { utility->IUtility_GetBody(asDispatch(orders)); }), 13);
}

TEST_F(QueuingCalls, TheUtilityIsOfMessageQueuingWhateverIsConfigured) {
  const auto utility = make<MSMQUtility>();
  recorder.settings["QueueStoreType"] = u"db";
  calls();
  utility->CreateQueue(String(u"Orders"));
  EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "PathName .\\Orders", "Create True True"));
  EXPECT_TRUE(tryQuery<IQueues>(utility->GetQueues().get()));
  EXPECT_THAT(recorder.take("OpenRecordset"), IsEmpty());
  recorder.failing = "FormatName";  // the queue is created then too
  utility->OpenQueue(String(u"Orders"), MQ_SEND_ACCESS, false);
  recorder.failing.clear();
  EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders", "new MSMQQueueInfo",
                                   "PathName .\\Orders", "Create True True", "Open 2 0"));
  const Ref<IUtility> back(utility);
  expectError(100, u"CorvaneQueue.DbUtility", "Unsupported queue storage type",
              [&] { call<&IUtility::put_QueueStoreType>(back, u"oracle"); });
  EXPECT_THAT(recorder.take("write"), IsEmpty());
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
  std::vector<std::string> refreshed() {
    queues->Refresh();
    std::vector<std::string> names;
    for (std::int32_t i = 1; i <= queues->Count(); ++i)
      names.push_back(toUtf8(queues->Item(Variant(i).get())->Name()));
    return names;
  }
  std::string directory() {
    queues = make<MSMQQueues>();
    recorder.take();
    queues->Refresh();
    const auto listed = recorder.take("list ");
    return listed.empty() ? "" : listed.front().substr(5);
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
  EXPECT_THAT(refreshed(), ElementsAre("orders", "seven"));
  recorder.settings["UsesPublicQueues"] = false;
  EXPECT_THAT(refreshed(), ElementsAre("hidden"));
  EXPECT_EQ(recorder.take("read UsesPublicQueues").size(), 24u);  // twice a file, in both lists
  EXPECT_EQ(queues->Item(Variant(u"HIDDEN").get())->Name(), u"hidden");
  queues->Remove(Variant(u"hidden").get());
  EXPECT_EQ(queues->Count(), 0);
  EXPECT_THAT(recorder.take("Delete"), IsEmpty());
  // A number that is none, and two queues of one name: the list has what stands before them.
  recorder.settings["UsesPublicQueues"] = true;
  file(u"7", u"ORDERS");
  EXPECT_EQ(errorNumber([&] { queues->Refresh(); }), 457);
  EXPECT_EQ(queues->Count(), 2);
  recorder.files = {u"3"};
  recorder.texts["3 SystemQueue"] = u"no number";
  EXPECT_EQ(errorNumber([&] { queues->Refresh(); }), 13);
}

TEST_F(QueueFiles, StandInTheDirectoryThatTheSystemNames) {
  EXPECT_EQ(directory(), "S:\\msmq\\storage\\lqs\\*");
  recorder.texts["registry"] = String(std::u16string(u"D:\\store\\\0rest", 14));
  EXPECT_EQ(directory(), "D:\\store\\lqs\\*");
  // A 32-bit process on a 64-bit system.
  recorder.texts["PROCESSOR_ARCHITEW6432"] = u"AMD64";
  recorder.texts["system directory"] = u"S:\\system";
  recorder.texts["registry"] = u"s:\\SYSTEM\\msmq";
  queues = make<MSMQQueues>();
  recorder.take();
  queues->Refresh();
  EXPECT_THAT(recorder.take(),
              ElementsAre("registry SOFTWARE\\Microsoft\\MSMQ\\Parameters StorePersistentPath 64",
                          "list W:\\Sysnative\\msmq\\lqs\\*"));
  recorder.texts.erase("registry");
  EXPECT_EQ(directory(), "W:\\Sysnative\\msmq\\storage\\lqs\\*");

  recorder.version.majorVersion = 4;
  queues = make<MSMQQueues>();
  recorder.take();
  expectError(1, u"Refresh", "Cannot find MSMQ in registry", [&] { queues->Refresh(); });
  EXPECT_THAT(
      recorder.take(),
      ElementsAre("root 0", "registry SOFTWARE\\Microsoft\\MSMQ\\Parameters\\OCMSetup Directory \"\""));
  recorder.texts["registry"] = u"D:\\msmq";
  EXPECT_EQ(directory(), "D:\\msmq\\storage\\lqs\\*");
  file(u"1", u"orders");
  EXPECT_THAT(refreshed(), ElementsAre("orders"));  // of its path name
  EXPECT_THAT(recorder.take("key "), ElementsAre("key D:\\msmq\\storage\\lqs\\1 Properties SystemQueue",
                                                 "key D:\\msmq\\storage\\lqs\\1 Properties PathName"));
  recorder.version.platformId = 1;
  const std::pair<std::int32_t, std::int32_t> unexpected[] = {{2, 3}, {1, 4}, {1, 10}};
  for (const auto& [platformId, majorVersion] : unexpected) {
    recorder.version.platformId = platformId;
    recorder.version.majorVersion = majorVersion;
    queues = make<MSMQQueues>();
    queues->Add(String(u"before"));
    expectError(1, u"Refresh", "Unexpected version of OS.", [&] { queues->Refresh(); });
    EXPECT_EQ(queues->Count(), 0);
  }
  recorder.take();
  make<MSMQUtility>()->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, false);
  EXPECT_THAT(recorder.take("Name "), ElementsAre("PathName .\\Q"));  // on platform 1
}

TEST_F(QueueFiles, QueuesAreLookedForAndAddedInMessageQueuing) {
  calls();
  EXPECT_TRUE(queues->Exists(String(u"Orders")));
  EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Orders", "Open 2 0"));
  queues->Add(String(u"Orders"));
  EXPECT_THAT(recorder.take("Create "), IsEmpty());
  EXPECT_EQ(errorNumber([&] { queues->Add(String(u"ORDERS")); }), 457);
  recorder.failing = "Open";
  EXPECT_FALSE(queues->Exists(String(u"Orders")));
  queues->Add(String(u"New"));
  EXPECT_THAT(recorder.take("Create "), ElementsAre("Create True True"));
  EXPECT_EQ(queues->Count(), 2);
  recorder.version.majorVersion = 4;
  queues = make<MSMQQueues>();
  recorder.take();
  queues->Exists(String(u"Orders"));
  EXPECT_THAT(recorder.take("Name "), ElementsAre("PathName .\\Orders"));
}

}  // namespace

}  // namespace CorvaneQueue
