// An event sink from a function.
#pragma once

#include "Object.h"

#include <functional>

namespace CorvaneQueue {

class Sink final : public Object<Sink, IDispatch> {
 public:
  using Handler = std::function<HRESULT(DISPID, std::span<VARIANT>)>;
  explicit Sink(Handler handler) : handler_(std::move(handler)) {}
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept final { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept final {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* parameters, VARIANT*,
                                   EXCEPINFO*, UINT*) noexcept final {
    return handler_(id, {parameters->rgvarg, parameters->cArgs});
  }

 private:
  Handler handler_;
};

}  // namespace CorvaneQueue
