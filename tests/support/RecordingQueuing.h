// The Message Queuing objects of the recording door. A handle is named after its access: receive, send
// or peek.
#pragma once

#include "ConnectionPoint.h"
#include "Object.h"
#include "Recorder.h"

namespace CorvaneQueue {

class RecordingTransaction final : public Object<RecordingTransaction, DispatchForm<IMSMQTransaction>> {
 public:
  explicit RecordingTransaction(Recorder& recorder) : number(++recorder.transactions), recorder_(recorder) {}
  HRESULT STDMETHODCALLTYPE raw_Commit(VARIANT* a, VARIANT* b, VARIANT* c) noexcept final {
    return answer([&] { recorder_.note(named("Commit") + shown(*a) + " " + shown(*b) + " " + shown(*c)); });
  }
  HRESULT STDMETHODCALLTYPE raw_Abort(VARIANT* a, VARIANT* b) noexcept final {
    return answer([&] { recorder_.note(named("Abort") + shown(*a) + " " + shown(*b)); });
  }
  HRESULT STDMETHODCALLTYPE get_Transaction(LONG* result) noexcept final {
    return answer(result, [&] { return 1000 + number; });
  }
  const int number;

 private:
  std::string named(const char* call) const { return call + (" " + std::to_string(number) + " "); }
  Recorder& recorder_;
};

// A transaction argument; one by reference may be replaced.
inline std::string shownTransaction(Recorder& recorder, VARIANT& argument) {
  if (argument.vt != (VT_DISPATCH | VT_BYREF)) return shown(argument);
  const auto given = query<IMSMQTransaction>(*argument.ppdispVal);
  const LONG number = call<&IMSMQTransaction::get_Transaction>(given) - 1000;
  if (recorder.handedBack) {
    (*argument.ppdispVal)->Release();
    *argument.ppdispVal = std::exchange(recorder.handedBack, nullptr).detach();
  }
  return "&transaction " + std::to_string(number);
}

class RecordingDispenser final
    : public Object<RecordingDispenser, DispatchForm<IMSMQCoordinatedTransactionDispenser>> {
 public:
  explicit RecordingDispenser(Recorder& recorder) : recorder_(recorder) {}
  HRESULT STDMETHODCALLTYPE raw_BeginTransaction(IMSMQTransaction** result) noexcept final {
    return answer(result, [&] {
      recorder_.note("BeginTransaction");
      return make<RecordingTransaction>(recorder_);
    });
  }

 private:
  Recorder& recorder_;
};

class RecordingQueueInfo final : public Object<RecordingQueueInfo, DispatchForm<IMSMQQueueInfo>> {
 public:
  RecordingQueueInfo(Recorder& recorder, std::string handle, String name = {})
      : recorder_(recorder), handle_(std::move(handle)), name_(std::move(name)) {}
  HRESULT STDMETHODCALLTYPE get_PathName(BSTR* result) noexcept final { return get_FormatName(result); }
  HRESULT STDMETHODCALLTYPE put_PathName(BSTR value) noexcept final { return named("PathName ", value); }
  HRESULT STDMETHODCALLTYPE get_FormatName(BSTR* result) noexcept final {
    return answer(result, [&] { return name_; });
  }
  HRESULT STDMETHODCALLTYPE put_FormatName(BSTR value) noexcept final { return named("FormatName ", value); }
  HRESULT STDMETHODCALLTYPE get_IsTransactional(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] {
      recorder_.note(handle_ + "IsTransactional");
      return recorder_.isTransactional;
    });
  }
  HRESULT STDMETHODCALLTYPE get_Quota(LONG* result) noexcept final {
    return got("Quota", recorder_.quota, result);
  }
  HRESULT STDMETHODCALLTYPE put_Quota(LONG value) noexcept final { return put("Quota", value); }
  HRESULT STDMETHODCALLTYPE get_Journal(LONG* result) noexcept final {
    return got("Journal", recorder_.journal, result);
  }
  HRESULT STDMETHODCALLTYPE put_Journal(LONG value) noexcept final { return put("Journal", value); }
  HRESULT STDMETHODCALLTYPE get_JournalQuota(LONG* result) noexcept final {
    return got("JournalQuota", recorder_.quota, result);
  }
  HRESULT STDMETHODCALLTYPE put_JournalQuota(LONG value) noexcept final { return put("JournalQuota", value); }
  HRESULT STDMETHODCALLTYPE raw_Create(VARIANT* isTransactional, VARIANT* isWorldReadable) noexcept final {
    return noted("Create " + shown(*isTransactional) + " " + shown(*isWorldReadable));
  }
  HRESULT STDMETHODCALLTYPE raw_Delete() noexcept final { return noted("Delete"); }
  HRESULT STDMETHODCALLTYPE raw_Open(LONG access, LONG share, IDispatch** result) noexcept final;
  HRESULT STDMETHODCALLTYPE raw_Update() noexcept final { return noted("Update"); }
  HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept final { return noted("Refresh"); }

 private:
  HRESULT noted(const std::string& call) {
    return answer([&] { recorder_.note(handle_ + call); });
  }
  HRESULT got(const char* name, LONG value, LONG* result) {
    return answer(result, [&] {
      recorder_.note(handle_ + name);
      return value;
    });
  }
  HRESULT put(const char* name, LONG value) { return noted(name + (" = " + std::to_string(value))); }
  HRESULT named(const char* what, BSTR value) {
    return answer([&] {
      name_ = String(StringRef(value));
      recorder_.note(what + toUtf8(name_));
    });
  }
  Recorder& recorder_;
  std::string handle_;
  String name_;
};

class RecordingQueue final : public Object<RecordingQueue, DispatchForm<IMSMQQueue>> {
 public:
  RecordingQueue(Recorder& recorder, std::string handle, String name)
      : recorder_(recorder), handle_(std::move(handle)), name_(std::move(name)) {}
  HRESULT STDMETHODCALLTYPE get_QueueInfo(IMSMQQueueInfo** result) noexcept final {
    return answer(result, [&] { return make<RecordingQueueInfo>(recorder_, handle_, name_); });
  }
  HRESULT STDMETHODCALLTYPE raw_Reset() noexcept final {
    return answer([&] { recorder_.note(handle_ + "Reset"); });
  }
  HRESULT STDMETHODCALLTYPE raw_Close() noexcept final {
    return answer([&] { recorder_.note(handle_ + "Close"); });
  }
  HRESULT STDMETHODCALLTYPE raw_PeekCurrent(VARIANT* destination, VARIANT* body, VARIANT* timeout,
                                            IMSMQMessage** result) noexcept final {
    return next("PeekCurrent", result, {destination, body, timeout});
  }
  HRESULT STDMETHODCALLTYPE raw_PeekNext(VARIANT* destination, VARIANT* body, VARIANT* timeout,
                                         IMSMQMessage** result) noexcept final {
    return next("PeekNext", result, {destination, body, timeout});
  }
  HRESULT STDMETHODCALLTYPE raw_Peek(VARIANT* destination, VARIANT* body, VARIANT* timeout,
                                     IMSMQMessage** result) noexcept final {
    return next("Peek", result, {destination, body, timeout});
  }
  HRESULT STDMETHODCALLTYPE raw_Receive(VARIANT* transaction, VARIANT* destination, VARIANT* body,
                                        VARIANT* timeout, IMSMQMessage** result) noexcept final {
    return next("Receive", result, {transaction, destination, body, timeout});
  }
  HRESULT STDMETHODCALLTYPE raw_ReceiveCurrent(VARIANT* transaction, VARIANT* destination, VARIANT* body,
                                               VARIANT* timeout, IMSMQMessage** result) noexcept final {
    return next("ReceiveCurrent", result, {transaction, destination, body, timeout});
  }
  HRESULT STDMETHODCALLTYPE raw_EnableNotification(IMSMQEvent* event, VARIANT* cursor,
                                                   VARIANT* timeout) noexcept final;

 private:
  HRESULT next(const char* name, IMSMQMessage** result, std::vector<VARIANT*> arguments) {
    return answer(result, [&] {
      std::string call = handle_ + name;
      for (VARIANT* argument : arguments) call += " " + shownTransaction(recorder_, *argument);
      recorder_.note(call);
      if (recorder_.messages.empty()) return Ref<IMSMQMessage>();
      auto message = std::move(recorder_.messages.front());
      recorder_.messages.pop_front();
      return message;
    });
  }
  Recorder& recorder_;
  std::string handle_;
  String name_;
};

inline HRESULT RecordingQueueInfo::raw_Open(LONG access, LONG share, IDispatch** result) noexcept {
  return answer(result, [&] {
    recorder_.note("Open " + std::to_string(access) + " " + std::to_string(share));
    const char* handle = access == MQ_SEND_ACCESS      ? "send "
                         : access == MQ_RECEIVE_ACCESS ? "receive "
                                                       : "peek ";
    return asDispatch(make<RecordingQueue>(recorder_, handle, name_));
  });
}

class RecordingEvent final
    : public Object<RecordingEvent, DispatchForm<IMSMQEvent>, EventSource<_DMSMQEventEvents>> {
 public:
  explicit RecordingEvent(Recorder& recorder) : recorder_(recorder) {}
  // The recorder's `arrive` notifies of this queue from now on, `arriveFrom` of any other.
  void arm(Ref<IDispatch> queue) {
    recorder_.arriveFrom = [kept = Ref<RecordingEvent>(this)](const Ref<IDispatch>& from) {
      VARIANT arguments[] = {Variant(std::int32_t{0}).detach(), Variant(from).detach()};
      kept->fire(msmqArrivedId, arguments);
      VariantClear(&arguments[1]);
    };
    recorder_.arrive = [this, queue = std::move(queue)] { recorder_.arriveFrom(queue); };
  }

 private:
  Recorder& recorder_;
};

inline HRESULT RecordingQueue::raw_EnableNotification(IMSMQEvent* event, VARIANT* cursor,
                                                      VARIANT* timeout) noexcept {
  return answer([&] {
    recorder_.note(handle_ + "EnableNotification " + shown(*cursor) + " " + shown(*timeout));
    static_cast<RecordingEvent*>(event)->arm(asDispatch(Ref<RecordingQueue>(this)));
  });
}

// Notes what is written to it; what is read stays unnoted.
class RecordingMessage final : public Object<RecordingMessage, DispatchForm<IMSMQMessage>> {
 public:
  explicit RecordingMessage(Recorder& recorder) : recorder_(recorder) {}
  HRESULT STDMETHODCALLTYPE get_Label(BSTR* result) noexcept final {
    return answer(result, [&] { return label; });
  }
  HRESULT STDMETHODCALLTYPE put_Label(BSTR value) noexcept final {
    return answer([&] { recorder_.note("Label = " + toUtf8(StringRef(value))); });
  }
  HRESULT STDMETHODCALLTYPE get_Body(VARIANT* result) noexcept final {
    return answer(result, [&] { return body; });
  }
  HRESULT STDMETHODCALLTYPE put_Body(VARIANT value) noexcept final {
    return answer([&] {
      body = Variant(value);
      recorder_.note("Body");
    });
  }
  HRESULT STDMETHODCALLTYPE get_AppSpecific(LONG* result) noexcept final {
    return answer(result, [&] { return appSpecific; });
  }
  HRESULT STDMETHODCALLTYPE put_AppSpecific(LONG value) noexcept final {
    return answer([&] { recorder_.note("AppSpecific = " + std::to_string(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Delivery(LONG*) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_Delivery(LONG value) noexcept final {
    return answer([&] { recorder_.note("Delivery = " + std::to_string(value)); });
  }
  HRESULT STDMETHODCALLTYPE get_Id(VARIANT* result) noexcept final {
    return answer(result, [&] { return Variant::bytes(id); });
  }
  HRESULT STDMETHODCALLTYPE get_BodyLength(LONG* result) noexcept final {
    return answer(result, [&] { return LONG{5}; });
  }
  HRESULT STDMETHODCALLTYPE get_SentTime(VARIANT* result) noexcept final {
    return answer(result, [&] { return Variant(u"2026-11-22 10:30:00"); });
  }
  HRESULT STDMETHODCALLTYPE get_ArrivedTime(VARIANT* result) noexcept final { return get_SentTime(result); }
  HRESULT STDMETHODCALLTYPE get_MaxTimeToReceive(LONG* result) noexcept final {
    return answer(result, [&] { return LONG{-1}; });
  }
  HRESULT STDMETHODCALLTYPE raw_Send(IDispatch*, VARIANT* transaction) noexcept final {
    return answer([&] {
      recorder_.note("Send " + shownTransaction(recorder_, *transaction));
      recorder_.sent = Ref<IMSMQMessage>(this);
    });
  }
  String label;
  Variant body;
  LONG appSpecific = 0;
  std::vector<std::uint8_t> id;

 private:
  Recorder& recorder_;
};

}  // namespace CorvaneQueue
