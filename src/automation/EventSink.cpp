#include "EventSink.h"

namespace CorvaneQueue {

void EventSink::connect(IUnknown* source, const IID& events) {
  const auto container = tryQuery<IConnectionPointContainer>(source);
  if (!container) return;
  IConnectionPoint* point = nullptr;
  if (FAILED(container->FindConnectionPoint(events, &point))) return;
  point_ = Ref<IConnectionPoint>::adopt(point);
  throwIfFailed(point_->Advise(static_cast<IDispatch*>(this), &cookie_));
}

void EventSink::disconnect() noexcept {
  handler_ = nullptr;
  if (const auto point = std::move(point_)) point->Unadvise(cookie_);
}

HRESULT EventSink::GetTypeInfoCount(UINT* count) noexcept {
  return answer([&] { given(count) = 0; });
}
HRESULT EventSink::GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept { return DISP_E_BADINDEX; }
HRESULT EventSink::GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept {
  return DISP_E_UNKNOWNNAME;
}

HRESULT EventSink::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                          UINT*) noexcept {
  if (id != event_) return DISP_E_MEMBERNOTFOUND;
  if (parameters == nullptr || parameters->cArgs != argumentCount_) return DISP_E_BADPARAMCOUNT;
  return answer([&] {
    const Ref<EventSink> kept(this);  // the handler may disconnect it
    if (const Handler handler = handler_) handler({parameters->rgvarg, parameters->cArgs});
  });
}

}  // namespace CorvaneQueue
