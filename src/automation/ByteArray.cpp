#include <CorvaneQueue/Variant.h>

namespace CorvaneQueue {

std::span<const std::uint8_t> bytesOf(const VARIANT& value) {
  const VARIANT* held = &value;
  while (held->vt == (VT_VARIANT | VT_BYREF)) held = held->pvarVal;
  const SAFEARRAY* array = held->vt == (VT_ARRAY | VT_UI1)              ? held->parray
                           : held->vt == (VT_ARRAY | VT_UI1 | VT_BYREF) ? *held->pparray
                                                                        : nullptr;
  if (array == nullptr || array->cDims != 1)
    throw Error(ErrorNumber::TypeMismatch, {}, u"Type mismatch: an array of bytes is needed here.");
  return {static_cast<const std::uint8_t*>(array->pvData), array->rgsabound[0].cElements};
}

}  // namespace CorvaneQueue
