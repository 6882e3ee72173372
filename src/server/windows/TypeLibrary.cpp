// The type library lies in the library's resources; the system enters it, with how its interfaces are
// marshalled.
#include "TypeLibrary.h"

#include "Platform.h"
#include "PublishedTypes.h"

#include <algorithm>

namespace CorvaneQueue {

namespace {

std::wstring fileName() { return libraryFile().make_preferred().native(); }

Ref<ITypeLib> load() {
  ITypeLib* library = nullptr;
  if (FAILED(::LoadTypeLibEx(fileName().c_str(), REGKIND_NONE, &library)))
    throw Error(E_FAIL, u"CorvaneQueue",
                u"The library has no type library in its resources; nothing was done.");
  return Ref<ITypeLib>::adopt(library);
}

}  // namespace

void mustHaveTypeLibrary() { load(); }

void enterTypeLibrary(ClassesValues&) {
  std::wstring file = fileName();
  if (FAILED(::RegisterTypeLib(load().get(), file.data(), nullptr)))
    throw Error(E_FAIL, u"CorvaneQueue",
                u"The type library cannot be entered into the registry; run this as an administrator.");
}

void removeTypeLibrary(ClassesValues&) {
  TLIBATTR* attributes = nullptr;
  const auto library = load();
  if (FAILED(library->GetLibAttr(&attributes))) return;
  const TLIBATTR own = *attributes;
  library->ReleaseTLibAttr(attributes);
  BSTR entered = nullptr;
  if (FAILED(::QueryPathOfRegTypeLib(own.guid, own.wMajorVerNum, own.wMinorVerNum, own.lcid, &entered)))
    return;
  const String file = String::adopt(entered);
  const std::wstring mine = fileName();
  if (::CompareStringOrdinal(platformText(file.view().data()), static_cast<int>(file.size()), mine.c_str(),
                             static_cast<int>(mine.size()), TRUE) == CSTR_EQUAL)
    ::UnRegisterTypeLib(own.guid, own.wMajorVerNum, own.wMinorVerNum, own.lcid, own.syskind);
}

}  // namespace CorvaneQueue
