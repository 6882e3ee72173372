// VariantChangeType by the platform's rules, locale 1033.
#include "ConversionText.h"
#include "DateText.h"
#include "NumberText.h"

#include <CorvaneQueue/Variant.h>

namespace CorvaneQueue {

namespace {

using namespace conversion;

double realOf(const VARIANT& v);

std::int64_t wholeOf(const VARIANT& v) {
  switch (v.vt) {
    case VT_EMPTY: return 0;
    case VT_UI1: return v.bVal;
    case VT_I2: return v.iVal;
    case VT_BOOL: return v.boolVal;
    case VT_UI2: return v.uiVal;
    case VT_INT:
    case VT_I4: return v.lVal;
    case VT_UINT:
    case VT_UI4: return v.ulVal;
    case VT_I8: return v.llVal;
    case VT_UI8:
      if (v.ullVal > static_cast<ULONGLONG>(INT64_MAX)) overflow();
      return static_cast<std::int64_t>(v.ullVal);
    case VT_BSTR: {
      const Number number = numberIn(StringRef(v.bstrVal));
      return number.whole ? *number.whole : roundedWhole(number.real);
    }
    default: return roundedWhole(realOf(v));
  }
}
double realOf(const VARIANT& v) {
  switch (v.vt) {
    case VT_R4: return v.fltVal;
    case VT_R8: return v.dblVal;
    case VT_DATE: return v.date;
    case VT_BSTR: return numberIn(StringRef(v.bstrVal)).real;
    case VT_EMPTY:
    case VT_UI1:
    case VT_I2:
    case VT_BOOL:
    case VT_UI2:
    case VT_INT:
    case VT_I4:
    case VT_UINT:
    case VT_UI4:
    case VT_I8: return static_cast<double>(wholeOf(v));
    case VT_UI8: return static_cast<double>(v.ullVal);
    default: mismatch();
  }
}
bool truthOf(const VARIANT& v) {
  if (v.vt == VT_BSTR) {
    const std::string text = upperCased(trimmed(asciiOf(StringRef(v.bstrVal))));
    if (text == "TRUE" || text == "#TRUE#") return true;
    if (text == "FALSE" || text == "#FALSE#") return false;
  }
  return realOf(v) != 0;
}
double dateOf(const VARIANT& v) {
  if (v.vt == VT_BSTR) return checkedDate(dateIn(trimmed(asciiOf(StringRef(v.bstrVal)))));
  return checkedDate(realOf(v));
}
template <class T>
T within(std::int64_t value) {
  if (value < static_cast<std::int64_t>(std::numeric_limits<T>::min()) ||
      value > static_cast<std::int64_t>(std::numeric_limits<T>::max()))
    overflow();
  return static_cast<T>(value);
}
// In "&H" text the digits are the bits of the number: eight of them may make a negative one.
LONG longOf(const VARIANT& v) {
  const std::int64_t value = wholeOf(v);
  if (v.vt == VT_BSTR && value > INT32_MAX && value <= UINT32_MAX &&
      numberIn(StringRef(v.bstrVal)).isHexadecimal)
    return static_cast<LONG>(static_cast<std::uint32_t>(value));
  return within<LONG>(value);
}
std::string textOf(const VARIANT& v, USHORT flags) {
  switch (v.vt) {
    case VT_EMPTY: return {};
    case VT_BOOL:
      if ((flags & VARIANT_ALPHABOOL) == 0) return std::to_string(v.boolVal);
      return v.boolVal != VARIANT_FALSE ? "True" : "False";
    case VT_DATE: return dateText(v.date);
    case VT_R4:
    case VT_R8: return realText(realOf(v));
    case VT_UI8: return std::to_string(v.ullVal);
    case VT_UI1:
    case VT_I2:
    case VT_UI2:
    case VT_INT:
    case VT_I4:
    case VT_UINT:
    case VT_UI4:
    case VT_I8: return std::to_string(wholeOf(v));
    default: mismatch();
  }
}

// The value of an object is that of its default member.
Variant defaultValueOf(IDispatch* object) {
  if (object == nullptr) throw Error(E_POINTER, {}, u"There is no object.");
  DISPPARAMS none{};
  Variant value;
  const HRESULT result = object->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                        &none, value.address(), nullptr, nullptr);
  if (FAILED(result)) mismatch();
  return value;
}

void change(VARIANT& result, const VARIANT& v, USHORT flags, VARTYPE type) {
  switch (type) {
    case VT_UI1: result.bVal = within<BYTE>(wholeOf(v)); break;
    case VT_I2: result.iVal = within<SHORT>(wholeOf(v)); break;
    case VT_UI2: result.uiVal = within<USHORT>(wholeOf(v)); break;
    case VT_INT:
    case VT_I4: result.lVal = longOf(v); break;
    case VT_UINT:
    case VT_UI4: result.ulVal = within<ULONG>(wholeOf(v)); break;
    case VT_I8: result.llVal = wholeOf(v); break;
    case VT_UI8: result.ullVal = static_cast<ULONGLONG>(within<std::int64_t>(wholeOf(v))); break;
    case VT_R4: result.fltVal = static_cast<float>(realOf(v)); break;
    case VT_R8: result.dblVal = realOf(v); break;
    case VT_BOOL: result.boolVal = truthOf(v) ? VARIANT_TRUE : VARIANT_FALSE; break;
    case VT_DATE: result.date = dateOf(v); break;
    case VT_BSTR: {
      const std::string text = textOf(v, flags);
      result.bstrVal = String(std::u16string(text.begin(), text.end())).detach();
      break;
    }
    default: mismatch();
  }
  result.vt = type;
}

HRESULT resultOf(const Error& failure) noexcept {
  switch (failure.number()) {
    case ErrorNumber::TypeMismatch: return DISP_E_TYPEMISMATCH;
    case ErrorNumber::Overflow: return DISP_E_OVERFLOW;
    default: return failure.number();
  }
}

}  // namespace

extern "C" HRESULT VariantChangeType(VARIANTARG* target, const VARIANTARG* source, USHORT flags,
                                     VARTYPE type) noexcept {
  VARIANT plain;
  VariantInit(&plain);
  HRESULT result = S_OK;
  const VARIANT* from = source;
  if ((source->vt & VT_BYREF) != 0) {
    result = VariantCopyInd(&plain, source);
    from = &plain;
  }
  Variant changed;
  if (FAILED(result)) {
    // nothing to convert
  } else if (from->vt == type) {
    result = VariantCopy(changed.address(), from);
  } else if (type == VT_DISPATCH || type == VT_UNKNOWN) {
    if (from->vt == VT_DISPATCH || from->vt == VT_UNKNOWN) {
      void* object = nullptr;
      if (from->punkVal != nullptr)
        result = from->punkVal->QueryInterface(type == VT_DISPATCH ? IID_IDispatch : IID_IUnknown, &object);
      changed.address()->punkVal = static_cast<IUnknown*>(object);
      changed.address()->vt = type;
    } else {
      result = DISP_E_TYPEMISMATCH;
    }
  } else {
    try {
      if (from->vt == VT_DISPATCH) {
        const Variant value = defaultValueOf(from->pdispVal);
        result = value.type() == VT_DISPATCH
                     ? DISP_E_TYPEMISMATCH
                     : VariantChangeType(changed.address(), &value.get(), flags, type);
      } else {
        change(*changed.address(), *from, flags, type);
      }
    } catch (const Error& failure) {
      result = resultOf(failure);
    } catch (...) {
      result = E_OUTOFMEMORY;
    }
  }
  if (SUCCEEDED(result)) {
    VARIANT value = changed.detach();
    VariantClear(target);
    *target = value;
  }
  VariantClear(&plain);
  return result;
}

}  // namespace CorvaneQueue
