// VariantChangeType by the platform's rules, locale 1033.
#include "ConversionText.h"
#include "ScalarConversion.h"

#include <CorvaneQueue/Variant.h>

namespace CorvaneQueue {

namespace {

using namespace conversion;

constexpr VARTYPE byteArray = VT_ARRAY | VT_UI1;

constexpr bool isObject(VARTYPE type) { return type == VT_DISPATCH || type == VT_UNKNOWN; }

// Whether a variant may be of the type, or there may be references to it or arrays of it.
bool isType(VARTYPE type) {
  constexpr VARTYPE modifiers = VT_ARRAY | VT_BYREF;
  const auto plain = static_cast<VARTYPE>(type & ~modifiers);
  if (plain <= VT_NULL) return type == plain;
  return plain != 15 && (plain < VT_VOID || plain == VT_RECORD);
}

// A text of these very bytes, an odd one included.
String textOfBytes(const SAFEARRAY* array) {
  if (array == nullptr || array->cDims != 1) throw Failure{E_INVALIDARG};
  BSTR text = SysAllocStringByteLen(static_cast<const char*>(array->pvData), array->rgsabound[0].cElements);
  if (text == nullptr) throw std::bad_alloc();
  return String::adopt(text);
}

// The value of an object is that of its default member.
Variant defaultValueOf(IDispatch* object) {
  if (object == nullptr) throw Failure{DISP_E_BADVARTYPE};
  DISPPARAMS none{};
  Variant value;
  const HRESULT result = object->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_PROPERTYGET, &none,
                                        value.address(), nullptr, nullptr);
  if (FAILED(result)) mismatch();
  return value;
}

// `objects` is how many objects may still be asked, one for the other's value.
void change(Variant& changed, const VARIANT& v, USHORT flags, VARTYPE type, int objects = 16) {
  if (v.vt == type) {
    if (const HRESULT result = VariantCopy(changed.address(), &v); FAILED(result)) throw Failure{result};
  } else if (type <= VT_NULL) {
    changed.address()->vt = type;
  } else if (type == byteArray && v.vt == VT_BSTR) {
    changed = Variant::bytes({reinterpret_cast<const std::uint8_t*>(v.bstrVal), SysStringByteLen(v.bstrVal)});
  } else if (type == VT_BSTR && v.vt == byteArray) {
    changed = Variant(textOfBytes(v.parray));
  } else if (isObject(type)) {
    if (!isObject(v.vt)) mismatch();
    void* object = nullptr;
    if (v.punkVal != nullptr &&
        FAILED(v.punkVal->QueryInterface(type == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, &object)))
      mismatch();
    changed.address()->punkVal = static_cast<IUnknown*>(object);
    changed.address()->vt = type;
  } else if (!isScalar(type)) {
    mismatch();
  } else if (v.vt == VT_DISPATCH) {
    if (objects == 0) mismatch();
    change(changed, defaultValueOf(v.pdispVal).get(), flags, type, objects - 1);
  } else {
    convert(*changed.address(), v, flags, type);
  }
}

}  // namespace

extern "C" HRESULT VariantChangeType(VARIANTARG* target, const VARIANTARG* source, USHORT flags,
                                     VARTYPE type) noexcept {
  if (!isType(source->vt) || !isType(type)) return DISP_E_BADVARTYPE;
  if ((source->vt & VT_BYREF) != 0 && source->byref == nullptr) return DISP_E_TYPEMISMATCH;
  try {
    Variant plain;
    const VARIANT* value = source;
    if ((source->vt & VT_BYREF) != 0) {
      if (const HRESULT result = VariantCopyInd(plain.address(), source); FAILED(result)) return result;
      value = &plain.get();
    }
    Variant changed;
    change(changed, *value, flags, type);
    VariantClear(target);
    *target = changed.detach();
    return S_OK;
  } catch (const Failure& failure) {
    return failure.result;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace CorvaneQueue
