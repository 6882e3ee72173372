// The queue facade: default initialisation, store routing, reports, teardown and the event relay.
#include "DbQueue.h"
#include "Expect.h"
#include "Queue.h"
#include "Queues.h"
#include "RecordingPlatform.h"

#include <gmock/gmock.h>

namespace CorvaneQueue {

namespace {

using ::testing::ElementsAre;

class FakeTransaction final : public Object<FakeTransaction, DispatchForm<IMSMQTransaction>> {
 public:
  HRESULT STDMETHODCALLTYPE raw_Commit(VARIANT*, VARIANT*, VARIANT*) noexcept final { return S_OK; }
  HRESULT STDMETHODCALLTYPE raw_Abort(VARIANT*, VARIANT*) noexcept final { return S_OK; }
  HRESULT STDMETHODCALLTYPE get_Transaction(LONG*) noexcept final { return E_NOTIMPL; }
};

// A back end that does nothing but note its calls; the forms give it its interface.
template <class Self>
class FakeMembers {
 public:
  explicit FakeMembers(std::vector<std::string>& noted) : calls(noted) {}
  Ref<IJournal> Journal() { return {}; }
  void Journal_Set(const Ref<IJournal>&) {}
  Ref<IMessages> Messages() { return {}; }
  String MsgType() { return text; }
  void MsgType_Let(StringRef value) { text = String(value); }
  String MsgID() { return u"id"; }
  void MsgID_Let(StringRef) {}
  String Object() { return u"object"; }
  void Object_Let(StringRef) {}
  String ObjectID() { return u"objectid"; }
  void ObjectID_Let(StringRef) {}
  String Name() { return name; }
  bool CompressMessages() { return true; }
  String LastDocument() { return u"last"; }
  void QueueSize_Let(std::int32_t value) { size = value; }
  std::int32_t QueueSize() { return size; }
  void JournalEnabled_Let(bool) {}
  bool JournalEnabled() { return true; }
  void JournalQuota_Let(std::int32_t) {}
  std::int32_t JournalQuota() { return 3; }
  void Quota_Let(std::int32_t) {}
  std::int32_t Quota() { throw Error(4711, u"inner", u"No quota today."); }
  void ProcessTrace_Set(const Ref<_ProcessTrace>& trace) {
    calls.push_back(trace ? "ProcessTrace" : "ProcessTrace none");
  }
  void Initialize(StringRef value, bool) { name = String(value); }
  bool IsEmpty() { return true; }
  void Purge() { calls.push_back("Purge"); }
  void SendMessage(const Ref<IMessage>&) { calls.push_back("SendMessage"); }
  void SendDocument(StringRef document) { calls.push_back("SendDocument " + toUtf8(document)); }
  void AcknowledgeMessage(const Ref<IMessage>&) { calls.push_back("AcknowledgeMessage"); }
  void AcknowledgeDocument(StringRef id) { calls.push_back("AcknowledgeDocument " + toUtf8(id)); }
  std::int32_t BeginTransaction() { return 7; }
  void Commit() { calls.push_back("Commit"); }
  void Abort() {
    calls.push_back("Abort");
    throw Error(4711, u"inner", u"Abort fails.");
  }
  Ref<IMessage> ReceiveNext() { return {}; }

  std::vector<std::string>& calls;
  String text;
  String name;
  std::int32_t size = 0;
};

class PlainBackEnd final : public Object<PlainBackEnd, IQueueForm<PlainBackEnd>>,
                           public FakeMembers<PlainBackEnd> {
 public:
  using FakeMembers::FakeMembers;
  using FakeMembers::Object;
};

// The class interface of a Message Queuing queue.
class FakeClassInterface : public DispatchForm<_MSMQQueue> {
 public:
  HRESULT STDMETHODCALLTYPE raw_ReceiveEnable() noexcept final { return note("ReceiveEnable"); }
  HRESULT STDMETHODCALLTYPE raw_ReceiveDisable() noexcept final { return note("ReceiveDisable"); }
  HRESULT STDMETHODCALLTYPE raw_BeginTransaction(IMSMQTransaction** r) noexcept final {
    return answer(r, [&] { return transaction_ = make<FakeTransaction>(); });
  }
  HRESULT STDMETHODCALLTYPE get_Transaction(IMSMQTransaction** r) noexcept final {
    return answer(r, [&] { return transaction_; });
  }
  HRESULT STDMETHODCALLTYPE putref_Transaction(IMSMQTransaction* value) noexcept final {
    transaction_ = Ref<IMSMQTransaction>(value);
    return note("Transaction");
  }
  std::vector<std::string>* noted = nullptr;

 private:
  HRESULT note(const char* what) {
    noted->push_back(what);
    return S_OK;
  }
  Ref<IMSMQTransaction> transaction_;
};

class MessageQueuingBackEnd final : public Object<MessageQueuingBackEnd, IQueueForm<MessageQueuingBackEnd>,
                                                  FakeClassInterface, EventSource<__MSMQQueue>>,
                                    public FakeMembers<MessageQueuingBackEnd> {
 public:
  explicit MessageQueuingBackEnd(std::vector<std::string>& all) : FakeMembers(all) { noted = &all; }
  using FakeMembers::Object;
  // As on arrival: the document by reference, the identifier behind it.
  String arrive(const char16_t* document, const char16_t* id) {
    String body(document);
    String identifier(id);
    VARIANT arguments[] = {Variant::reference(identifier.address()).detach(),
                           Variant::reference(body.address()).detach()};
    fire(evtArrivedId, arguments);
    return body;
  }
};

class FacadeTest : public ::testing::Test {
 protected:
  FacadeTest() { recorder.settings["QueueStoreType"] = u"db"; }
  RecordingPlatform door;
  Recorder& recorder = door.recorder;
  std::vector<std::string> calls;
};

TEST_F(FacadeTest, InitialisesItselfOnTheDefaultQueue) {
  const auto queue = make<facade::Queue>();
  EXPECT_THAT(recorder.take(), ElementsAre("default names CorvaneQueue Queue"));
  EXPECT_EQ(queue->Name(), u"InboundGateway");
  queue->MsgType_Let(String(u"T"));
  queue->Initialize(String(u"Other"), false);
  EXPECT_EQ(queue->Name(), u"Other");
  EXPECT_EQ(queue->MsgType(), u"");  // a new back end: nothing is carried over
}

TEST_F(FacadeTest, AnUnknownStoreTypeFailsAtEveryLevelItPasses) {
  recorder.settings["QueueStoreType"] = u"oracle";
  const auto queue = make<facade::Queue>();
  recorder.take();
  expectError(91, u"MsgType Get", "\"oracle\"", [&] { queue->MsgType(); });
  EXPECT_THAT(recorder.take("report"),
              ElementsAre("default report raise 1 91 Initialize", "default report raise 1 91 MsgType Get"));
  recorder.settings["QueueStoreType"] = u"MSMQ";
  queue->Initialize(String(u"M"), false);
  recorder.take();
  expectError(100, u"ReceiveNext", "Not implemented", [&] { queue->ReceiveNext(); });  // of that store
  // A queue that has a back end keeps it.
  recorder.settings["QueueStoreType"] = u"db";
  queue->Initialize(String(u"Q"), false);
  recorder.settings["QueueStoreType"] = u"oracle";
  queue->Initialize(String(u"R"), false);
  EXPECT_EQ(queue->Name(), u"R");
  EXPECT_THROW(make<facade::Queues>(), Error);
}

TEST_F(FacadeTest, RoutesByStore) {
  const auto queue = make<facade::Queue>();
  queue->attach(make<DbQueue>());
  recorder.take();
  const std::pair<std::function<void()>, const char16_t*> refused[] = {
      {[&] { queue->ReceiveEnable(); }, u"ReceiveEnableGet"},
      {[&] { queue->ReceiveDisable(); }, u"ReceiveDisable"},
      {[&] { queue->Transaction(); }, u"Transaction Get"},
      {[&] { queue->Transaction_Set(Variant().get()); }, u"Transaction Set"}};
  for (const auto& [member, source] : refused) {
    expectError(ErrorNumber::NotImplemented, source, "Not implemented", member);
    EXPECT_THAT(recorder.take(), ElementsAre("default description Not implemented",
                                             "default report raise 1 -2147467263 " + toUtf8(source)));
  }
  EXPECT_EQ(queue->BeginTransaction().type(), VT_I4);

  queue->attach(make<PlainBackEnd>(calls));
  expectError(ErrorNumber::NotImplemented, u"ReceiveEnableGet", "Not implemented",
              [&] { queue->ReceiveEnable(); });
  EXPECT_EQ(queue->BeginTransaction().type(), VT_EMPTY);
  EXPECT_EQ(queue->Transaction().type(), VT_EMPTY);
  queue->Transaction_Set(Variant().get());
  expectError(4711, u"Quota Get", "No quota today.", [&] { queue->Quota(); });

  const auto backEnd = make<MessageQueuingBackEnd>(calls);
  queue->attach(backEnd);
  queue->ReceiveEnable();
  queue->ReceiveDisable();
  const Variant begun = queue->BeginTransaction();
  EXPECT_EQ(begun.type(), VT_DISPATCH);
  queue->Transaction_Set(begun.get());
  queue->Commit();
  EXPECT_THAT(calls, ElementsAre("ReceiveEnable", "ReceiveDisable", "Transaction", "Commit"));
  EXPECT_EQ(queue->Transaction().get().pdispVal, begun.get().pdispVal);
  EXPECT_EQ(errorNumber([&] { queue->Transaction_Set(Variant(u"x").get()); }), 13);
}

TEST_F(FacadeTest, KeepsWhatIsAssignedAndAbortsAtItsEnd) {
  {
    const auto queue = make<facade::Queue>();
    EXPECT_FALSE(queue->Journal());
    const auto messages = make<DbMessages>();
    queue->Messages_Set(messages);
    EXPECT_EQ(queue->Messages().get(), Ref<_Messages>(messages).get());
    queue->attach(make<PlainBackEnd>(calls));
    queue->ProcessTrace_Set(nullptr);
    recorder.take();
    queue->ProcessTrace_Set(make<RecordingTrace>(recorder));
    EXPECT_THAT(recorder.take(), ElementsAre("trace CorvaneQueue Queue"));
    EXPECT_EQ(errorNumber([&] { queue->Quota(); }), 4711);
    EXPECT_THAT(recorder.take(),
                ElementsAre("traced take 4711 inner", "traced report raise 1 4711 Quota Get"));
    EXPECT_THAT(calls, ElementsAre("ProcessTrace none", "ProcessTrace"));
    calls.clear();
  }
  EXPECT_THAT(calls, ElementsAre("Abort"));  // its failure is nobody's any more
}

TEST_F(FacadeTest, SurvivesAHandlerThatReplacesTheBackEndWhileItReports) {
  const auto queue = make<facade::Queue>();
  queue->attach(make<DbQueue>());
  recorder.onReport = [&] {
    recorder.onReport = nullptr;
    queue->Initialize(String(u"Another"), false);
  };
  EXPECT_EQ(errorNumber([&] { queue->Quota(); }), 100);
  EXPECT_EQ(queue->Name(), u"Another");
}

TEST_F(FacadeTest, ItsEndKeepsAnErrorThatIsOnItsWay) {
  const auto failing = [&] {
    const auto queue = make<facade::Queue>();
    queue->attach(make<PlainBackEnd>(calls));
    LONG quota = 0;
    return query<_Queue>(static_cast<_Queue*>(queue.get()))->get_Quota(&quota);
  };
  EXPECT_EQ(Error::fromResult(failing()).description(), u"No quota today.");
  // And what a caller left lying is not taken for the error of something else.
  failing();
  EXPECT_NE(errorOf([] { Variant(u"x").as(VT_I4); })->description(), u"No quota today.");
}

TEST_F(FacadeTest, RelaysArrivalsByReference) {
  auto queue = make<facade::Queue>();
  const auto backEnd = make<MessageQueuingBackEnd>(calls);
  queue->attach(backEnd);
  int arrivals = 0;
  const Subscription client(static_cast<_Queue*>(queue.get()), arrivalKind<__Queue>,
                            [&](std::span<VARIANT> arguments) {
                              EXPECT_EQ(StringRef(*arguments[0].pbstrVal).view(), u"0000000042");
                              SysFreeString(*arguments[1].pbstrVal);
                              *arguments[1].pbstrVal = SysAllocString(u"changed");
                              if (++arrivals == 2)
                                queue = nullptr;  // a client may let the queue go in its handler
                            });
  EXPECT_EQ(backEnd->arrive(u"text", u"0000000042"), u"changed");

  const auto other = make<MessageQueuingBackEnd>(calls);
  queue->attach(other);
  EXPECT_EQ(backEnd->arrive(u"text", u"1"), u"text");  // the old back end is no longer heard
  EXPECT_EQ(arrivals, 1);
  other->arrive(u"last", u"0000000042");
  EXPECT_EQ(arrivals, 2);
  other->arrive(u"nobody", u"1");
  EXPECT_EQ(arrivals, 2);
}

}  // namespace

}  // namespace CorvaneQueue
