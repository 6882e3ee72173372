#include "EventRelay.h"

#include "Queue.h"

namespace CorvaneQueue::facade {

void EventRelay::connect(IUnknown* backEnd) {
  const auto container = tryQuery<IConnectionPointContainer>(backEnd);
  if (!container) return;
  IConnectionPoint* point = nullptr;
  if (FAILED(container->FindConnectionPoint(iidOf<__MSMQQueue>, &point))) return;
  point_ = Ref<IConnectionPoint>::adopt(point);
  throwIfFailed(point_->Advise(static_cast<IDispatch*>(this), &cookie_));
}

void EventRelay::disconnect() noexcept {
  owner_ = nullptr;
  if (const auto point = std::move(point_)) point->Unadvise(cookie_);
}

HRESULT EventRelay::GetTypeInfoCount(UINT* count) noexcept {
  return answer([&] { given(count) = 0; });
}
HRESULT EventRelay::GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept { return DISP_E_BADINDEX; }
HRESULT EventRelay::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept {
  return DISP_E_UNKNOWNNAME;
}

HRESULT EventRelay::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                           UINT*) noexcept {
  if (id != evtArrivedId) return DISP_E_MEMBERNOTFOUND;
  if (parameters == nullptr || parameters->cArgs != evtArrived.parameterNames.size())
    return DISP_E_BADPARAMCOUNT;
  if (owner_ == nullptr) return S_OK;
  const Ref<Queue> kept(owner_);  // a client may release the queue in its handler
  return answer([&] { kept->arrived({parameters->rgvarg, parameters->cArgs}); });
}

}  // namespace CorvaneQueue::facade
