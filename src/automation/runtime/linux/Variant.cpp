#include <CorvaneQueue/Variant.h>

#include <cstdlib>

namespace CorvaneQueue {

namespace {

constexpr bool isObject(VARTYPE type) { return type == VT_DISPATCH || type == VT_UNKNOWN; }

std::uint32_t elementSize(VARTYPE type) {
  switch (type) {
    case VT_UI1: return 1;
    case VT_I2:
    case VT_BOOL:
    case VT_UI2: return 2;
    case VT_I4:
    case VT_UI4: return 4;
    case VT_I8:
    case VT_R8: return 8;
    default: return 0;
  }
}

}  // namespace

extern "C" {

SAFEARRAY* SafeArrayCreateVector(VARTYPE type, LONG lowerBound, ULONG count) noexcept {
  const std::uint32_t size = elementSize(type);
  if (size == 0) return nullptr;
  auto* array = static_cast<SAFEARRAY*>(std::calloc(1, sizeof(SAFEARRAY)));
  if (array == nullptr) return nullptr;
  array->cDims = 1;
  array->cbElements = size;
  array->rgsabound[0] = {count, lowerBound};
  array->pvData = std::calloc(count == 0 ? 1 : count, size);
  if (array->pvData == nullptr) {
    std::free(array);
    return nullptr;
  }
  return array;
}

HRESULT SafeArrayDestroy(SAFEARRAY* array) noexcept {
  if (array != nullptr) {
    std::free(array->pvData);
    std::free(array);
  }
  return S_OK;
}

HRESULT SafeArrayCopy(SAFEARRAY* array, SAFEARRAY** copy) noexcept {
  if (copy == nullptr) return E_INVALIDARG;
  *copy = nullptr;
  if (array == nullptr) return S_OK;
  if (array->cDims != 1) return E_INVALIDARG;
  const std::size_t bytes = std::size_t{array->cbElements} * array->rgsabound[0].cElements;
  auto* made = static_cast<SAFEARRAY*>(std::malloc(sizeof(SAFEARRAY)));
  if (made == nullptr) return E_OUTOFMEMORY;
  *made = *array;
  made->cLocks = 0;
  made->pvData = std::malloc(bytes == 0 ? 1 : bytes);
  if (made->pvData == nullptr) {
    std::free(made);
    return E_OUTOFMEMORY;
  }
  std::memcpy(made->pvData, array->pvData, bytes);
  *copy = made;
  return S_OK;
}

HRESULT SafeArrayGetLBound(SAFEARRAY* array, UINT dimension, LONG* bound) noexcept {
  if (array == nullptr || bound == nullptr) return E_INVALIDARG;
  if (dimension == 0 || dimension > array->cDims) return DISP_E_BADINDEX;
  *bound = array->rgsabound[array->cDims - dimension].lLbound;
  return S_OK;
}

HRESULT SafeArrayGetUBound(SAFEARRAY* array, UINT dimension, LONG* bound) noexcept {
  const HRESULT result = SafeArrayGetLBound(array, dimension, bound);
  if (SUCCEEDED(result))
    *bound += static_cast<LONG>(array->rgsabound[array->cDims - dimension].cElements) - 1;
  return result;
}

void VariantInit(VARIANTARG* variant) noexcept { std::memset(variant, 0, sizeof *variant); }

HRESULT VariantClear(VARIANTARG* variant) noexcept {
  if ((variant->vt & VT_BYREF) == 0) {
    if ((variant->vt & VT_ARRAY) != 0)
      SafeArrayDestroy(variant->parray);
    else if (variant->vt == VT_BSTR)
      SysFreeString(variant->bstrVal);
    else if (isObject(variant->vt) && variant->punkVal != nullptr)
      variant->punkVal->Release();
  }
  VariantInit(variant);
  return S_OK;
}

HRESULT VariantCopy(VARIANTARG* target, const VARIANTARG* source) noexcept {
  if (target == source) return S_OK;
  VARIANT copy = *source;
  if ((source->vt & VT_BYREF) == 0) {
    if ((source->vt & VT_ARRAY) != 0) {
      const HRESULT result = SafeArrayCopy(source->parray, &copy.parray);
      if (FAILED(result)) return result;
    } else if (source->vt == VT_BSTR) {
      const auto* const bytes = reinterpret_cast<const char*>(source->bstrVal);
      copy.bstrVal = SysAllocStringByteLen(bytes, SysStringByteLen(source->bstrVal));
      if (copy.bstrVal == nullptr) return E_OUTOFMEMORY;
    } else if (isObject(source->vt) && source->punkVal != nullptr) {
      source->punkVal->AddRef();
    }
  }
  VariantClear(target);
  *target = copy;
  return S_OK;
}

HRESULT VariantCopyInd(VARIANT* target, const VARIANTARG* source) noexcept {
  if ((source->vt & VT_BYREF) == 0) return VariantCopy(target, source);
  if (source->byref == nullptr) return E_INVALIDARG;
  const auto type = static_cast<VARTYPE>(source->vt & ~VT_BYREF);
  if (type == VT_VARIANT) {
    if (source->pvarVal->vt == (VT_VARIANT | VT_BYREF)) return E_INVALIDARG;
    return VariantCopyInd(target, source->pvarVal);
  }
  VARIANT plain;
  VariantInit(&plain);
  plain.vt = type;
  if ((type & VT_ARRAY) != 0 || type == VT_BSTR || isObject(type)) {
    std::memcpy(&plain.byref, source->byref, sizeof(void*));
  } else {
    switch (type) {
      case VT_UI1: plain.bVal = *source->pbVal; break;
      case VT_I2:
      case VT_UI2:
      case VT_BOOL: plain.iVal = *source->piVal; break;
      case VT_I4:
      case VT_UI4:
      case VT_INT:
      case VT_UINT:
      case VT_R4:
      case VT_ERROR: plain.lVal = *source->plVal; break;
      case VT_I8:
      case VT_UI8:
      case VT_R8:
      case VT_DATE: plain.llVal = *source->pllVal; break;
      default: return DISP_E_BADVARTYPE;
    }
  }
  return VariantCopy(target, &plain);
}

}  // extern "C"

}  // namespace CorvaneQueue
