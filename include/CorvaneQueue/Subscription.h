// A function as the sink of an event.
#pragma once

#include <CorvaneQueue/Queue.h>

#include <atomic>
#include <functional>
#include <memory>

namespace CorvaneQueue {

// Handles one arrived document. Both texts may be changed: what is left in them goes back to the
// queue, and RawDocument becomes its LastDocument.
using ArrivalHandler = std::function<void(String& RawDocument, String& DocumentID)>;

namespace detail {

class ArrivalSink final : public IDispatch {
 public:
  explicit ArrivalSink(ArrivalHandler handler)
      : handler_(std::make_shared<ArrivalHandler>(std::move(handler))) {}
  // No further event reaches the handler; one that it is in the middle of goes on.
  void end() noexcept { handler_ = nullptr; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept final {
    if (object == nullptr) return E_POINTER;
    const bool isAnswered = iid == IID_IUnknown || iid == IID_IDispatch || iid == iidOf<__Queue>;
    *object = isAnswered ? this : nullptr;
    if (!isAnswered) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept final { return ++count_; }
  ULONG STDMETHODCALLTYPE Release() noexcept final {
    const ULONG left = --count_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept final {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept final { return DISP_E_BADINDEX; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept final {
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                                   EXCEPINFO*, UINT*) noexcept final {
    if (id != evtArrivedId) return DISP_E_MEMBERNOTFOUND;
    if (parameters == nullptr || parameters->cArgs != 2) return DISP_E_BADPARAMCOUNT;
    const auto handler = handler_;
    if (handler == nullptr) return S_OK;
    try {
      // The last argument stands first.
      Borrowed document(parameters->rgvarg[1]);
      Borrowed identifier(parameters->rgvarg[0]);
      (*handler)(document.text, identifier.text);
      return S_OK;
    } catch (...) {
      return publishedResult();
    }
  }

 private:
  // A string that an argument refers to, while the handler has it.
  struct Borrowed {
    explicit Borrowed(VARIANT& argument) {
      if (argument.vt != (VT_BSTR | VT_BYREF)) throw Error::ofResult(DISP_E_TYPEMISMATCH);
      place = argument.pbstrVal;
      text = String::adopt(*place);
    }
    ~Borrowed() { *place = std::exchange(*text.address(), nullptr); }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
    BSTR* place;
    String text;
  };
  static HRESULT publishedResult() noexcept {
    try {
      return Error::current().publish();
    } catch (...) {
      return E_OUTOFMEMORY;
    }
  }

  std::atomic<ULONG> count_{1};
  std::shared_ptr<ArrivalHandler> handler_;
};

}  // namespace detail

// Keeps a handler subscribed until it ends. It keeps the source's connection point, not the source.
class Subscription {
 public:
  Subscription() noexcept = default;
  // Subscribes the handler to evtArrived of the object. Throws 13 for an object without events.
  Subscription(IUnknown* source, ArrivalHandler handler)
      : sink_(Ref<detail::ArrivalSink>::adopt(new detail::ArrivalSink(std::move(handler)))) {
    IConnectionPoint* point = nullptr;
    throwIfFailedPlain(query<IConnectionPointContainer>(source)->FindConnectionPoint(iidOf<__Queue>, &point));
    point_ = Ref<IConnectionPoint>::adopt(point);
    throwIfFailed(point_->Advise(sink_.get(), &cookie_));
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
  Ref<detail::ArrivalSink> sink_;
  Ref<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

}  // namespace CorvaneQueue
