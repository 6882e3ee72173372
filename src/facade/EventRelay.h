// Passes the arrival event of a back end on to the clients of the facade.
#pragma once

#include "Object.h"

namespace CorvaneQueue::facade {

class Queue;

// A sink of the back end's event. `owner` outlives the connection: it calls disconnect() when it ends.
class EventRelay final : public Object<EventRelay, IDispatch> {
 public:
  explicit EventRelay(Queue* owner) noexcept : owner_(owner) {}

  // Advises itself on the back end, when that raises events.
  void connect(IUnknown* backEnd);
  void disconnect() noexcept;

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept final;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) noexcept final;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID reserved, LPOLESTR* names, UINT count, LCID locale,
                                          DISPID* ids) noexcept final;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID reserved, LCID locale, WORD flags,
                                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                   UINT* argumentInError) noexcept final;

 private:
  Queue* owner_;
  Ref<IConnectionPoint> point_;
  DWORD cookie_ = 0;
};

}  // namespace CorvaneQueue::facade
