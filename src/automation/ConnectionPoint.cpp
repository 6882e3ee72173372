#include "ConnectionPoint.h"

#include "LateBound.h"

#include <algorithm>

namespace CorvaneQueue {

HRESULT ConnectionPoint::GetConnectionInterface(IID* iid) noexcept {
  return answer([&] { given(iid) = outgoing_; });
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) noexcept {
  return answer(container, [&] { return Ref<IConnectionPointContainer>(source_); });
}

HRESULT ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) noexcept {
  if (cookie == nullptr || sink == nullptr) return E_POINTER;
  *cookie = 0;
  if (!isOwnThread()) return RPC_E_WRONG_THREAD;
  const auto callable = tryQuery<IDispatch>(sink);
  if (!callable) return CONNECT_E_CANNOTCONNECT;
  return answer([&] {
    connections_.push_back({lastCookie_ + 1, callable});
    *cookie = ++lastCookie_;
  });
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) noexcept {
  if (!isOwnThread()) return RPC_E_WRONG_THREAD;
  const auto found = std::ranges::find(connections_, cookie, &Connection::cookie);
  if (found == connections_.end()) return CONNECT_E_NOCONNECTION;
  const Ref<IDispatch> released = std::move(found->sink);  // let go after the list is in order
  connections_.erase(found);
  return S_OK;
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections** connections) noexcept {
  if (connections != nullptr) *connections = nullptr;
  return E_NOTIMPL;
}

std::vector<Error> ConnectionPoint::fire(DISPID event, std::span<VARIANT> arguments) {
  std::vector<Error> failures;
  const auto snapshot = connections_;
  for (const Connection& connection : snapshot) {
    DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    EXCEPINFO exception{};
    try {
      throwIfInvokeFailed(connection.sink->Invoke(event, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr,
                                                  &exception, nullptr),
                          exception);
    } catch (const Error& error) {
      failures.push_back(error);
    }
    SetErrorInfo(0, nullptr);
  }
  return failures;
}

}  // namespace CorvaneQueue
