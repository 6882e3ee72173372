// The queue facade: default initialisation, store routing, reports, teardown and the event relay.
#include "DbQueue.h"
#include "MSMQQueue.h"
#include "Queue.h"
#include "Queues.h"
#include "RecordingPlatform.h"
#include "Utility.h"

namespace CorvaneQueue {

namespace {

// A back end of neither store. It does nothing.
class OtherQueue final : public Object<OtherQueue, IQueueForm<OtherQueue>>, public RoutedQueue, Recording {
 public:
  using RoutedQueue::Object;
  explicit OtherQueue(Recorder& noting) : Recording(noting) {}
  Ref<IJournal> Journal() { return {}; }
  void Journal_Set(const Ref<IJournal>&) {}
  Ref<IMessages> Messages() { return {}; }
  String Name() { return {}; }
  bool CompressMessages() { return false; }
  String LastDocument() { return {}; }
  void QueueSize_Let(std::int32_t) {}
  std::int32_t QueueSize() { return 0; }
  void JournalEnabled_Let(bool) {}
  bool JournalEnabled() { return false; }
  void JournalQuota_Let(std::int32_t) {}
  std::int32_t JournalQuota() { return 0; }
  void Quota_Let(std::int32_t) {}
  std::int32_t Quota() { throw Error(4711, u"inner", u"No quota today."); }
  void ProcessTrace_Set(const Ref<_ProcessTrace>& trace) {
    recorder.note(trace ? "ProcessTrace" : "ProcessTrace none");
  }
  void Initialize(StringRef, bool) {}
  bool IsEmpty() { return true; }
  void Purge() {}
  void SendMessage(const Ref<IMessage>&) {}
  void SendDocument(StringRef) {}
  void AcknowledgeMessage(const Ref<IMessage>&) {}
  void AcknowledgeDocument(StringRef) {}
  std::int32_t BeginTransaction() { return 7; }
  void Commit() {}
  void Abort() {}
  Ref<IMessage> ReceiveNext() { return {}; }
};

class FacadeTest : public RecordingTest {
 protected:
  FacadeTest() { recorder.settings["QueueStoreType"] = u"db"; }
  Ref<facade::Queue> queue = make<facade::Queue>();
};

TEST_F(FacadeTest, InitialisesItselfOnTheDefaultQueue) {
  EXPECT_EQ(queue->Name(), u"InboundGateway");
  queue->MsgType_Let(String(u"T"));
  queue->Initialize(String(u"Other"), false);
  EXPECT_EQ(queue->Name(), u"Other");
  EXPECT_EQ(queue->MsgType(), u"");  // a new back end: nothing is carried over
}

TEST_F(FacadeTest, AnUnknownStoreTypeFailsAtEveryLevelItPasses) {
  recorder.settings["QueueStoreType"] = u"oracle";
  fails([&] { queue->MsgType(); });
  recorder.settings["QueueStoreType"] = u"MSMQ";
  queue->Initialize(String(u"M"), false);
  fails([&] { queue->ReceiveNext(); });  // of that store
  step("a queue that has a back end keeps it");
  recorder.settings["QueueStoreType"] = u"db";
  queue->Initialize(String(u"Q"), false);
  recorder.settings["QueueStoreType"] = u"oracle";
  queue->Initialize(String(u"R"), false);
  EXPECT_EQ(queue->Name(), u"R");
  fails([] { make<facade::Queues>(); });
}

TEST_F(FacadeTest, RoutesByStore) {
  for (const Ref<IQueue>& backEnd : {Ref<IQueue>(make<DbQueue>()), Ref<IQueue>(make<OtherQueue>(recorder)),
                                     Ref<IQueue>(make<MSMQQueue>())}) {
    step("a back end");
    queue->attach(backEnd);
    fails([&] { queue->ReceiveEnable(); });
    fails([&] { queue->ReceiveDisable(); });
    const Variant begun = queue->BeginTransaction();
    step("began " + std::to_string(begun.type()));
    fails([&] { step("has " + std::to_string(queue->Transaction().type())); });
    fails([&] { queue->Transaction_Set(begun.get()); });
    fails([&] { queue->Transaction_Set(Variant(u"x").get()); });
    fails([&] { queue->Quota(); });
    queue->Commit();
  }
  const Variant begun = queue->BeginTransaction();
  queue->Transaction_Set(Variant(asDispatch(make<RecordingTransaction>(recorder))).get());
  EXPECT_NE(queue->Transaction().get().pdispVal, begun.get().pdispVal);
  queue->Transaction_Set(begun.get());
  EXPECT_EQ(queue->Transaction().get().pdispVal, begun.get().pdispVal);
}

TEST_F(FacadeTest, KeepsWhatIsAssignedAndAbortsAtItsEnd) {
  EXPECT_FALSE(queue->Journal());
  const auto messages = make<DbMessages>();
  queue->Messages_Set(messages);
  EXPECT_EQ(queue->Messages().get(), Ref<_Messages>(messages).get());
  queue->BeginTransaction();
  recorder.failing = "RollbackTrans";  // which is nobody's any more
  queue = nullptr;
}

// The facade's, a back end's and the utility's; none, before or after, changes nothing.
TEST_F(FacadeTest, ReportsGoToTheTraceOnceThereIsOne) {
  const auto backEnd = make<MSMQQueue>();
  const auto utility = make<facade::Utility>();
  queue->attach(make<OtherQueue>(recorder));
  for (const bool isTraced : {false, true, false}) {
    const auto trace = isTraced ? make<RecordingTrace>(recorder) : nullptr;
    step(isTraced ? "traced" : "not traced");
    queue->ProcessTrace_Set(trace);
    fails([&] { queue->Quota(); });
    backEnd->ProcessTrace_Set(trace);
    fails([&] { backEnd->Queue_ReceiveEnable(); });
    utility->Initialize(trace);
    fails([&] { utility->IDToString(Variant().get()); });
  }
}

TEST_F(FacadeTest, SurvivesAHandlerThatReplacesTheBackEndWhileItReports) {
  queue->attach(make<DbQueue>());
  recorder.onReport = [&] {
    recorder.onReport = nullptr;
    queue->Initialize(String(u"Another"), false);
  };
  fails([&] { queue->Quota(); });
  EXPECT_EQ(queue->Name(), u"Another");
}

TEST_F(FacadeTest, ItsEndKeepsAnErrorThatIsOnItsWay) {
  const auto failing = [&] {
    const auto ending = make<facade::Queue>();
    ending->BeginTransaction();
    recorder.failing = "RollbackTrans";
    LONG quota = 0;
    return static_cast<_Queue*>(ending.get())->get_Quota(&quota);
  };
  EXPECT_EQ(Error::fromResult(failing()).description(), u"Unsupported");
  recorder.failing.clear();
  // And what a caller left lying is not taken for the error of something else.
  failing();
  EXPECT_NE(errorOf([] { Variant(u"x").as(VT_I4); })->description(), u"Unsupported");
}

TEST_F(FacadeTest, RelaysArrivalsByReference) {
  const auto client = listening<__Queue>(queue);
  const auto attached = [&] {
    const auto backEnd = make<MSMQQueue>();
    queue->attach(backEnd);
    queue->ReceiveEnable();
    return backEnd;
  };
  handle = [&](std::span<VARIANT> arguments) { change(arguments[1]); };
  const auto first = attached();
  const auto arriveAtTheFirst = recorder.arrive;
  prepared(42);
  recorder.arrive();
  EXPECT_EQ(first->LastDocument(), u"changed");

  const auto second = attached();
  step("the old back end is no longer heard");
  prepared(1);
  arriveAtTheFirst();
  EXPECT_EQ(first->LastDocument(), u"text");
  step("a client may let the queue go in its handler");
  handle = [&](std::span<VARIANT>) { queue = nullptr; };
  for (const int number : {43, 44}) {
    prepared(static_cast<std::uint8_t>(number));
    recorder.arrive();
  }
}

}  // namespace

}  // namespace CorvaneQueue
