// The Message Queuing objects of the recording door. A handle is named after its access: receive, send
// or peek.
#pragma once

#include "ConnectionPoint.h"
#include "Object.h"
#include "Recorder.h"

namespace CorvaneQueue {

class RecordingTransaction final : public Object<RecordingTransaction, DispatchForm<IMSMQTransaction>>,
                                   Recording {
 public:
  explicit RecordingTransaction(Recorder& noting) : Recording(noting), number(++noting.transactions) {}
  MEMBER(raw_Commit(VARIANT* a, VARIANT* b, VARIANT* c), noted("Commit", number, *a, *b, *c))
  HRESULT raw_Abort(VARIANT* a, VARIANT* b) noexcept final { return noted("Abort", number, *a, *b); }
  HRESULT get_Transaction(LONG* result) noexcept final { return gives(result, number); }
  const int number;
};

// A transaction argument; one by reference may be replaced.
inline std::string shownTransaction(Recorder& recorder, VARIANT& argument) {
  const std::string text = shown(argument);
  if (argument.vt == (VT_DISPATCH | VT_BYREF) && recorder.handedBack) {
    (*argument.ppdispVal)->Release();
    *argument.ppdispVal = std::exchange(recorder.handedBack, nullptr).detach();
  }
  return text;
}

class RecordingDispenser final
    : public Object<RecordingDispenser, DispatchForm<IMSMQCoordinatedTransactionDispenser>>,
      Recording {
 public:
  using Recording::Recording;
  HRESULT raw_BeginTransaction(IMSMQTransaction** result) noexcept final {
    return notes(result, make<RecordingTransaction>(recorder), "BeginTransaction");
  }
};

class RecordingQueueInfo final : public Object<RecordingQueueInfo, DispatchForm<IMSMQQueueInfo>>, Recording {
 public:
  explicit RecordingQueueInfo(Recorder& noting, std::string handle = {}, String name = {})
      : Recording(noting, std::move(handle)), queue_(std::move(name)) {}
  HRESULT get_PathName(BSTR* result) noexcept final { return gives(result, queue_); }
  HRESULT put_PathName(BSTR value) noexcept final { return named("PathName", value); }
  HRESULT get_FormatName(BSTR* result) noexcept final { return gives(result, queue_); }
  HRESULT put_FormatName(BSTR value) noexcept final { return named("FormatName", value); }
  HRESULT get_IsTransactional(VARIANT_BOOL* result) noexcept final {
    return notes(result, recorder.isTransactional, "IsTransactional");
  }
  HRESULT get_Quota(LONG* result) noexcept final { return notes(result, recorder.quota, "Quota"); }
  HRESULT put_Quota(LONG value) noexcept final { return noted("Quota =", value); }
  HRESULT get_Journal(LONG* result) noexcept final { return notes(result, recorder.journal, "Journal"); }
  HRESULT put_Journal(LONG value) noexcept final { return noted("Journal =", value); }
  MEMBER(get_JournalQuota(LONG* result), notes(result, recorder.quota, "JournalQuota"))
  HRESULT put_JournalQuota(LONG value) noexcept final { return noted("JournalQuota =", value); }
  HRESULT raw_Create(VARIANT* isTransactional, VARIANT* isWorldReadable) noexcept final {
    return noted("Create", *isTransactional, *isWorldReadable);
  }
  HRESULT raw_Delete() noexcept final { return noted("Delete"); }
  HRESULT raw_Open(LONG access, LONG share, IDispatch** result) noexcept final;
  HRESULT raw_Update() noexcept final { return noted("Update"); }
  HRESULT raw_Refresh() noexcept final { return noted("Refresh"); }

 private:
  HRESULT named(const char* what, BSTR value) {
    queue_ = String(StringRef(value));
    return noted(what, value);
  }
  String queue_;
};

class RecordingQueue final : public Object<RecordingQueue, DispatchForm<IMSMQQueue>>, Recording {
 public:
  RecordingQueue(Recorder& noting, std::string handle, String name)
      : Recording(noting, std::move(handle)), queue_(std::move(name)) {}
  HRESULT get_QueueInfo(IMSMQQueueInfo** result) noexcept final {
    return gives(result, make<RecordingQueueInfo>(recorder, name_, queue_));
  }
  HRESULT raw_Reset() noexcept final { return noted("Reset"); }
  HRESULT raw_Close() noexcept final { return noted("Close"); }
  MEMBER(raw_PeekCurrent(VARIANT* a, VARIANT* b, VARIANT* c, IMSMQMessage** r),
         next("PeekCurrent", r, {a, b, c}))
  MEMBER(raw_PeekNext(VARIANT* a, VARIANT* b, VARIANT* c, IMSMQMessage** r), next("PeekNext", r, {a, b, c}))
  MEMBER(raw_Peek(VARIANT* a, VARIANT* b, VARIANT* c, IMSMQMessage** r), next("Peek", r, {a, b, c}))
  MEMBER(raw_Receive(VARIANT* a, VARIANT* b, VARIANT* c, VARIANT* d, IMSMQMessage** r),
         next("Receive", r, {a, b, c, d}))
  MEMBER(raw_ReceiveCurrent(VARIANT* a, VARIANT* b, VARIANT* c, VARIANT* d, IMSMQMessage** r),
         next("ReceiveCurrent", r, {a, b, c, d}))
  HRESULT raw_EnableNotification(IMSMQEvent* event, VARIANT* cursor, VARIANT* timeout) noexcept final;

 private:
  HRESULT next(const char* name, IMSMQMessage** result, std::initializer_list<VARIANT*> arguments) {
    return CorvaneQueue::answer(result, [&] {
      std::string call = name_ + name;
      for (VARIANT* argument : arguments) call += " " + shownTransaction(recorder, *argument);
      recorder.note(call);
      if (recorder.messages.empty()) return Ref<IMSMQMessage>();
      auto message = std::move(recorder.messages.front());
      recorder.messages.pop_front();
      return message;
    });
  }
  String queue_;
};

inline HRESULT RecordingQueueInfo::raw_Open(LONG access, LONG share, IDispatch** result) noexcept {
  static const std::map<LONG, const char*> handles = {
      {MQ_SEND_ACCESS, "send "}, {MQ_RECEIVE_ACCESS, "receive "}, {MQ_PEEK_ACCESS, "peek "}};
  const auto queue = make<RecordingQueue>(recorder, handles.at(access), queue_);
  return notes(result, asDispatch(queue), "Open", access, share);
}

class RecordingEvent final
    : public Object<RecordingEvent, DispatchForm<IMSMQEvent>, EventSource<_DMSMQEventEvents>>,
      Recording {
 public:
  using Recording::Recording;
  // The recorder's `arrive` notifies of this queue from now on, `arriveFrom` of any other.
  void arm(Ref<IDispatch> queue) {
    recorder.arriveFrom = [kept = Ref<RecordingEvent>(this)](const Ref<IDispatch>& from) {
      VARIANT arguments[] = {Variant(std::int32_t{0}).detach(), Variant(from).detach()};
      kept->recorder.transcript += "-- notified\n";
      kept->fire(msmqArrivedId, arguments);
      VariantClear(&arguments[1]);
    };
    recorder.arrive = [from = recorder.arriveFrom, queue = std::move(queue)] { from(queue); };
  }
};

inline HRESULT RecordingQueue::raw_EnableNotification(IMSMQEvent* event, VARIANT* cursor,
                                                      VARIANT* timeout) noexcept {
  const HRESULT done = noted("EnableNotification", *cursor, *timeout);
  if (SUCCEEDED(done)) static_cast<RecordingEvent*>(event)->arm(asDispatch(Ref<RecordingQueue>(this)));
  return done;
}

// Notes what is written to it; what is read stays unnoted.
class RecordingMessage final : public Object<RecordingMessage, DispatchForm<IMSMQMessage>>, Recording {
 public:
  using Recording::Recording;
  HRESULT get_Label(BSTR* result) noexcept final { return gives(result, label); }
  HRESULT put_Label(BSTR value) noexcept final { return noted("Label = \"" + shown(value) + "\""); }
  HRESULT get_Body(VARIANT* result) noexcept final { return gives(result, body); }
  HRESULT put_Body(VARIANT value) noexcept final {
    body = Variant(value);
    return noted("Body");
  }
  HRESULT get_AppSpecific(LONG* result) noexcept final { return gives(result, appSpecific); }
  HRESULT put_AppSpecific(LONG value) noexcept final { return noted("AppSpecific =", value); }
  HRESULT get_Delivery(LONG*) noexcept final { return E_NOTIMPL; }
  HRESULT put_Delivery(LONG value) noexcept final { return noted("Delivery =", value); }
  HRESULT get_Id(VARIANT* result) noexcept final { return gives(result, Variant::bytes(id)); }
  HRESULT get_BodyLength(LONG* result) noexcept final { return gives(result, 5); }
  MEMBER(get_SentTime(VARIANT* result), gives(result, Variant(u"2026-11-22 10:30:00")))
  HRESULT get_ArrivedTime(VARIANT* result) noexcept final { return get_SentTime(result); }
  HRESULT get_MaxTimeToReceive(LONG* result) noexcept final { return gives(result, -1); }
  HRESULT raw_Send(IDispatch*, VARIANT* transaction) noexcept final {
    const HRESULT done = noted("Send", shownTransaction(recorder, *transaction));
    if (SUCCEEDED(done)) recorder.sent = Ref<IMSMQMessage>(this);
    return done;
  }
  String label;
  Variant body;
  LONG appSpecific = 0;
  std::vector<std::uint8_t> id;
};

// An object of another maker, of which nothing is known but names: each answers what stands beside it.
class NamedObject final : public Object<NamedObject, IDispatch>, Recording {
 public:
  using Members = std::vector<std::pair<std::u16string, Variant>>;
  NamedObject(Recorder& noting, Members members) : Recording(noting), members_(std::move(members)) {}
  HRESULT GetTypeInfoCount(UINT*) noexcept final { return E_NOTIMPL; }
  HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept final { return E_NOTIMPL; }
  HRESULT GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) noexcept final {
    for (*ids = 0; *ids < static_cast<DISPID>(members_.size()); ++*ids)
      if (members_[static_cast<std::size_t>(*ids)].first == *names) return S_OK;
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* given, VARIANT* result, EXCEPINFO*,
                 UINT*) noexcept final {
    const auto& [name, value] = members_[static_cast<std::size_t>(id)];
    std::string call = "named " + toUtf8(name);
    for (UINT i = given->cArgs; i > 0; --i) call += " " + shown(given->rgvarg[i - 1]);
    return recorder.note(call), VariantCopy(result, &value.get());
  }

 private:
  Members members_;
};

}  // namespace CorvaneQueue
