// Events: sinks that clients advise, and the call of all of them.
#pragma once

#include "Object.h"

#include <vector>

namespace CorvaneQueue {

// The one outgoing interface of an event source. The source owns it and calls `detach` when it ends.
class ConnectionPoint final : public Object<ConnectionPoint, IConnectionPoint>, ThreadBound {
 public:
  ConnectionPoint(const IID& outgoing, IConnectionPointContainer* source)
      : outgoing_(outgoing), source_(source) {}

  HRESULT CORVANE_CALL GetConnectionInterface(IID* iid) noexcept final;
  HRESULT CORVANE_CALL GetConnectionPointContainer(IConnectionPointContainer** container) noexcept final;
  HRESULT CORVANE_CALL Advise(IUnknown* sink, DWORD* cookie) noexcept final;
  HRESULT CORVANE_CALL Unadvise(DWORD cookie) noexcept final;
  HRESULT CORVANE_CALL EnumConnections(IEnumConnections** connections) noexcept final;

  // Calls every sink that is connected now, in the order they connected. A failing sink does not
  // keep the others from being called; returns the failures. `arguments` stand last first, as IDispatch
  // takes them.
  std::vector<Error> fire(DISPID event, std::span<VARIANT> arguments);
  void detach() noexcept { source_ = nullptr; }

 private:
  struct Connection {
    DWORD cookie;
    Ref<IDispatch> sink;
  };
  IID outgoing_;
  IConnectionPointContainer* source_;
  std::vector<Connection> connections_;
  DWORD lastCookie_ = 0;
};

// The container half of a class with one event interface.
template <class EventInterface>
class EventSource : public IConnectionPointContainer, ThreadBound {
 public:
  using Presented = IConnectionPointContainer;

  HRESULT CORVANE_CALL EnumConnectionPoints(IEnumConnectionPoints** points) noexcept final {
    if (points != nullptr) *points = nullptr;
    return E_NOTIMPL;
  }
  HRESULT CORVANE_CALL FindConnectionPoint(REFIID iid, IConnectionPoint** point) noexcept final {
    if (point == nullptr) return E_POINTER;
    *point = nullptr;
    if (iid != iidOf<EventInterface> && iid != IID_IDispatch) return CONNECT_E_NOCONNECTION;
    return ThreadBound::answer(point, [&] { return point_; });
  }

 protected:
  EventSource() : point_(make<ConnectionPoint>(iidOf<EventInterface>, this)) {}
  ~EventSource() { point_->detach(); }
  std::vector<Error> fire(DISPID event, std::span<VARIANT> arguments) {
    const Ref<ConnectionPoint> kept = point_;  // a sink may release this object
    return kept->fire(event, arguments);
  }

 private:
  Ref<ConnectionPoint> point_;
};

}  // namespace CorvaneQueue
