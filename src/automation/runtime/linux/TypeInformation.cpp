#include "TypeInformation.h"

namespace CorvaneQueue {

bool hasTypeInformation() noexcept { return false; }
HRESULT typeInformation(REFIID, ITypeInfo** info) noexcept {
  if (info != nullptr) *info = nullptr;
  return DISP_E_BADINDEX;
}
HRESULT classInformation(REFIID iid, ITypeInfo** info) noexcept { return typeInformation(iid, info); }

}  // namespace CorvaneQueue
