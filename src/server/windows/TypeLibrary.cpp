// The type library lies in the library's resources; the system enters it, with how its interfaces are
// marshalled.
#include "TypeLibrary.h"

#include "File.h"
#include "Platform.h"
#include "PublishedTypes.h"

#include <algorithm>

namespace CorvaneQueue {

namespace {

// The library is of one language, under which the system enters it. Who marshals its interfaces asks for the
// one of no language.
ClassesValue ofNoLanguage() {
  return {u"TypeLib\\" + braced(libraryIdentity) + u"\\" + std::u16string(fromUtf8(libraryVersion).view()) +
              u"\\0\\win64",
          {},
          platform_layer::shownPath(libraryFile().make_preferred())};
}

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

void enterTypeLibrary(ClassesValues& values) {
  std::wstring file = fileName();
  if (FAILED(::RegisterTypeLib(load().get(), file.data(), nullptr)))
    throw Error(E_FAIL, u"CorvaneQueue",
                u"The type library cannot be entered into the registry; run this as an administrator.");
  values.push_back(ofNoLanguage());
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
                             static_cast<int>(mine.size()), TRUE) != CSTR_EQUAL)
    return;
  // Before the system's own entry, which takes the keys above away with it.
  const ClassesValue entries[] = {ofNoLanguage()};
  platform().system->deleteClassesValues(entries);
  ::UnRegisterTypeLib(own.guid, own.wMajorVerNum, own.wMinorVerNum, own.lcid, own.syskind);
}

}  // namespace CorvaneQueue
