// A function as the sink of an event.
#pragma once

#include <CorvaneQueue/Apartment.h>
#include <CorvaneQueue/Error.h>

#include <atomic>
#include <functional>
#include <memory>
#include <span>

namespace CorvaneQueue {

// Handles one event. The arguments stand last first, as IDispatch takes them. An exception goes to the
// source, which logs it, and comes out of Apartment::pump() once the delivery is over.
using EventHandler = std::function<void(std::span<VARIANT> arguments)>;

// What events to handle.
struct EventKind {
  IID source;  // the source interface
  DISPID event;
  UINT argumentCount;
};

namespace detail {

class EventSink final : public IDispatch {
 public:
  EventSink(const EventKind& kind, EventHandler handler)
      : kind_(kind), handler_(std::make_shared<EventHandler>(std::move(handler))) {}
  // No further event reaches the handler; one that it is in the middle of goes on.
  void end() noexcept { handler_ = nullptr; }

  HRESULT CORVANE_CALL QueryInterface(REFIID iid, void** object) noexcept final {
    if (object == nullptr) return E_POINTER;
    const bool isAnswered = iid == IID_IUnknown || iid == IID_IDispatch || iid == kind_.source;
    *object = isAnswered ? this : nullptr;
    if (!isAnswered) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG CORVANE_CALL AddRef() noexcept final { return ++count_; }
  ULONG CORVANE_CALL Release() noexcept final {
    const ULONG left = --count_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT CORVANE_CALL GetTypeInfoCount(UINT* count) noexcept final {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
  }
  HRESULT CORVANE_CALL GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept final { return DISP_E_BADINDEX; }
  HRESULT CORVANE_CALL GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept final {
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT CORVANE_CALL Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                              EXCEPINFO* exception, UINT*) noexcept final {
    if (id != kind_.event) return DISP_E_MEMBERNOTFOUND;
    if (parameters == nullptr || parameters->cArgs != kind_.argumentCount) return DISP_E_BADPARAMCOUNT;
    const auto handler = handler_;
    if (handler == nullptr) return S_OK;
    try {
      (*handler)({parameters->rgvarg, parameters->cArgs});
      return S_OK;
    } catch (...) {
      return failed(exception);
    }
  }

 private:
  static HRESULT failed(EXCEPINFO* exception) noexcept {
    try {
      Apartment::current().failed(std::current_exception());
      const Error error = Error::current();
      if (exception == nullptr) return error.publish();
      *exception = {};
      exception->scode = Error::toResult(error.number());
      exception->bstrSource = String(error.source()).detach();
      exception->bstrDescription = String(error.description()).detach();
      return DISP_E_EXCEPTION;
    } catch (...) {
      return E_OUTOFMEMORY;
    }
  }

  std::atomic<ULONG> count_{1};
  EventKind kind_;
  std::shared_ptr<EventHandler> handler_;
};

}  // namespace detail

// Keeps a handler subscribed until it ends. It keeps the source's connection point, not the source. Made and
// ended in the thread of the source.
class Subscription {
 public:
  Subscription() noexcept = default;
  // Throws 13 for an object without events.
  Subscription(IUnknown* source, const EventKind& kind, EventHandler handler)
      : sink_(Ref<detail::EventSink>::adopt(new detail::EventSink(kind, std::move(handler)))) {
    IConnectionPoint* point = nullptr;
    throwIfFailedPlain(query<IConnectionPointContainer>(source)->FindConnectionPoint(kind.source, &point));
    point_ = Ref<IConnectionPoint>::adopt(point);
    throwIfFailedPlain(point_->Advise(sink_.get(), &cookie_));
  }
  Subscription(Subscription&&) noexcept = default;
  Subscription& operator=(Subscription&& other) noexcept {
    end();
    sink_ = std::move(other.sink_);
    point_ = std::move(other.point_);
    cookie_ = other.cookie_;
    return *this;
  }
  ~Subscription() { end(); }

  // Ends it early; also from inside the handler.
  void end() noexcept {
    const auto sink = std::move(sink_);
    const auto point = std::move(point_);
    if (sink) sink->end();
    if (point) point->Unadvise(cookie_);
  }

 private:
  Ref<detail::EventSink> sink_;
  Ref<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

}  // namespace CorvaneQueue
