// The queue facade: default initialisation, store routing, reports, teardown and the event relay.
#include "DbQueue.h"
#include "MSMQQueue.h"
#include "PublicQueue.h"
#include "PublicQueues.h"
#include "PublicUtility.h"
#include "RecordingTest.h"

namespace CorvaneQueue {

namespace {

class FacadeTest : public RecordingTest {
 protected:
  FacadeTest() { recorder.settings["QueueStoreType"] = u"db"; }
  Stepwise<PublicQueue> queue = stepwise<PublicQueue>();
};

TEST_F(FacadeTest, InitialisesItselfOnTheDefaultQueue) {
  step("on", queue->Name());
  queue->MsgType_Let(String(u"T"));
  queue->Initialize(String(u"Other"), false);
  step("a new back end", queue->Name());
  step("nothing is carried over: \"" + shown(queue->MsgType()) + "\"");
}

TEST_F(FacadeTest, AnUnknownStoreTypeFailsAtEveryLevelItPasses) {
  recorder.settings["QueueStoreType"] = u"oracle";
  fails([&] { queue->MsgType(); });
  recorder.settings["QueueStoreType"] = u"MSMQ";
  queue->Initialize(String(u"M"), false);
  fails([&] { queue->ReceiveNext(); });  // of that store
  // A queue that has a back end keeps it.
  recorder.settings["QueueStoreType"] = u"db";
  queue->Initialize(String(u"Q"), false);
  recorder.settings["QueueStoreType"] = u"oracle";
  queue->Initialize(String(u"R"), false);
  EXPECT_EQ(queue->Name(), u"R");
  fails([] { make<PublicQueues>(); });
}

TEST_F(FacadeTest, RoutesByStore) {
  const auto routes = [&](const char* store, const Ref<IQueue>& backEnd) {
    step(store);
    queue->attach(backEnd);
    fails([&] { queue->ReceiveEnable(); });
    fails([&] { queue->ReceiveDisable(); });
    const Variant begun = queue->BeginTransaction();
    step("began", begun.get());
    queue->Commit();
    fails([&] { queue->Transaction_Set(begun.get()); });
    fails([&] { step("has", queue->Transaction().get()); });
    fails([&] { queue->Transaction_Set(Variant(u"x").get()); });
    fails([&] { queue->Quota(); });
  };
  routes("database", make<DbQueue>());
  routes("Message Queuing", make<MSMQQueue>());
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
  const auto utility = stepwise<PublicUtility>();
  queue->attach(make<DbQueue>());
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
  recorder.failing = "RollbackTrans";
  const auto failing = [&] {
    const auto ending = make<PublicQueue>();
    ending->BeginTransaction();
    LONG quota = 0;
    return static_cast<_Queue*>(ending.get())->get_Quota(&quota);
  };
  EXPECT_EQ(Error::fromResult(failing()).description(), u"Unsupported");
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
  // The old back end is no longer heard.
  prepared(1);
  arriveAtTheFirst();
  EXPECT_EQ(first->LastDocument(), u"text");
  // A client may let the queue go in its handler.
  handle = [&](std::span<VARIANT>) { queue = nullptr; };
  for (const int number : {43, 44}) {
    prepared(number);
    recorder.arrive();
  }
}

}  // namespace

}  // namespace CorvaneQueue
