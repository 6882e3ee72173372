// A sink of one event, made of a function.
#pragma once

#include "Object.h"

#include <functional>
#include <span>

namespace CorvaneQueue {

// The handler gets the arguments of the event, the last first. What it refers to must outlive the
// connection: disconnect when it ends.
class EventSink final : public Object<EventSink, IDispatch> {
 public:
  using Handler = std::function<void(std::span<VARIANT> arguments)>;
  EventSink(DISPID event, UINT argumentCount, Handler handler)
      : event_(event), argumentCount_(argumentCount), handler_(std::move(handler)) {}

  // Advises itself on the source, when that raises events of the interface.
  void connect(IUnknown* source, const IID& events);
  // From now on no event reaches the handler.
  void disconnect() noexcept;

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept final;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) noexcept final;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* ids) noexcept final;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* argumentInError) noexcept final;

 private:
  DISPID event_;
  UINT argumentCount_;
  Handler handler_;
  Ref<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

}  // namespace CorvaneQueue
