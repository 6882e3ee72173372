#include "TypeInformation.h"

#include <CorvaneQueue/Ref.h>

namespace CorvaneQueue {

namespace {

// In the resources of the library itself. The system keeps it as long as somebody uses it.
Ref<ITypeLib> typeLibrary() noexcept {
  HMODULE module = nullptr;
  wchar_t file[1024];
  ITypeLib* library = nullptr;
  if (::GetModuleHandleExW(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          reinterpret_cast<const wchar_t*>(&typeLibrary), &module) == 0 ||
      ::GetModuleFileNameW(module, file, 1024) == 0 || FAILED(::LoadTypeLibEx(file, REGKIND_NONE, &library)))
    return {};
  return Ref<ITypeLib>::adopt(library);
}

// Whether it is a class with that default interface.
bool isClassOf(ITypeInfo& type, REFIID iid) noexcept {
  constexpr UINT defaultInterface = 0;
  HREFTYPE reference = 0;
  ITypeInfo* found = nullptr;
  if (FAILED(type.GetRefTypeOfImplType(defaultInterface, &reference)) ||
      FAILED(type.GetRefTypeInfo(reference, &found)))
    return false;
  const auto interfaceType = Ref<ITypeInfo>::adopt(found);
  TYPEATTR* attributes = nullptr;
  if (FAILED(interfaceType->GetTypeAttr(&attributes))) return false;
  const bool isIt = attributes->guid == iid;
  interfaceType->ReleaseTypeAttr(attributes);
  return isIt;
}

}  // namespace

bool hasTypeInformation() noexcept { return true; }

HRESULT typeInformation(REFIID iid, ITypeInfo** info) noexcept {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  const auto library = typeLibrary();
  return library ? library->GetTypeInfoOfGuid(iid, info) : TYPE_E_CANTLOADLIBRARY;
}

HRESULT classInformation(REFIID iid, ITypeInfo** info) noexcept {
  if (info == nullptr) return E_POINTER;
  *info = nullptr;
  const auto library = typeLibrary();
  if (!library) return TYPE_E_CANTLOADLIBRARY;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    TYPEKIND kind;
    ITypeInfo* type = nullptr;
    if (FAILED(library->GetTypeInfoType(i, &kind)) || kind != TKIND_COCLASS ||
        FAILED(library->GetTypeInfo(i, &type)))
      continue;
    auto owned = Ref<ITypeInfo>::adopt(type);
    if (!isClassOf(*type, iid)) continue;
    *info = owned.detach();
    return S_OK;
  }
  return TYPE_E_ELEMENTNOTFOUND;
}

}  // namespace CorvaneQueue
