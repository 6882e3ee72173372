#include "LateBound.h"

#include <string>
#include <vector>

namespace CorvaneQueue {

Variant lateBoundInvoke(IDispatch* object, const char16_t* name, std::span<const Variant> arguments) {
  if (object == nullptr)
    throw Error(ErrorNumber::ObjectNotSet, {}, u"Object not set: there is no object to call.");
  std::u16string nameText(name);
  LPOLESTR names[] = {platformText(nameText.data())};
  DISPID id = DISPID_UNKNOWN;
  if (FAILED(object->GetIDsOfNames(IID_NULL, names, 1, 0, &id)))
    throw Error(ErrorNumber::NoSuchMember, {}, u"The object has no member \"" + nameText + u"\".");
  std::vector<VARIANT> lastFirst;
  for (const Variant& argument : arguments) lastFirst.insert(lastFirst.begin(), argument.get());
  DISPPARAMS parameters{lastFirst.data(), nullptr, static_cast<UINT>(lastFirst.size()), 0};
  EXCEPINFO exception{};
  Variant value;
  const HRESULT result = object->Invoke(id, IID_NULL, 0, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &parameters,
                                        value.address(), &exception, nullptr);
  throwIfInvokeFailed(result, exception);
  return value;
}

void throwIfInvokeFailed(HRESULT result, EXCEPINFO& exception) {
  if (result == DISP_E_EXCEPTION) {
    if (exception.pfnDeferredFillIn != nullptr) exception.pfnDeferredFillIn(&exception);
    const String source = String::adopt(exception.bstrSource);
    const String description = String::adopt(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    const bool hasCode = exception.wCode != 0;  // a number of the object's own instead of a result
    throw Error(hasCode ? exception.wCode : Error::ofResult(exception.scode).number(), source, description);
  }
  throwIfFailedPlain(result);
}

}  // namespace CorvaneQueue
