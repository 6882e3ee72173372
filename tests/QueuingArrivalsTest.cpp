// Arrivals at the Message Queuing back end against a recording door.
#include "QueuingCalls.h"

namespace CorvaneQueue {

namespace {

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

}  // namespace

}  // namespace CorvaneQueue
