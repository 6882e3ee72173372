// Entry of the classes, their names, the interfaces and the type library into the registry, for
// processes that look the library up there.
#include "CreatableClasses.h"
#include "EntryPoints.h"
#include "File.h"
#include "Platform.h"
#include "Process.h"
#include "PublishedTypes.h"
#include "TypeLibrary.h"

#include <algorithm>

namespace CorvaneQueue {

std::u16string braced(const GUID& guid) {
  const std::string digits = guidText(guid);
  std::u16string text(digits.begin(), digits.end());
  for (char16_t& c : text)
    if (c >= u'a' && c <= u'f') c = static_cast<char16_t>(c - u'a' + u'A');
  return u"{" + text + u"}";
}

std::filesystem::path libraryFile() {
  const auto file = platform_layer::fileOfCode(reinterpret_cast<const void*>(&registerServer));
  if (file.empty()) throw Error(E_FAIL, u"CorvaneQueue", u"The file of the library could not be found out.");
  return file;
}

namespace {

std::u16string classKey(const CLSID& identity) { return u"CLSID\\" + braced(identity); }
std::u16string serverKey(const CLSID& identity) { return classKey(identity) + u"\\InprocServer32"; }
void enterClass(ClassesValues& values, const CreatableClass& created) {
  const std::u16string key = classKey(created.identity);
  values.push_back({key, {}, created.name});
  values.push_back({serverKey(created.identity), {}, platform_layer::shownPath(libraryFile())});
  values.push_back({serverKey(created.identity), u"ThreadingModel", u"Apartment"});
  values.push_back({key + u"\\ProgID", {}, created.name});
  values.push_back({key + u"\\TypeLib", {}, braced(libraryIdentity)});
  values.push_back({key + u"\\VERSION", {}, std::u16string(fromUtf8(libraryVersion).view())});
  values.push_back({created.name, {}, created.name});
  values.push_back({std::u16string(created.name) + u"\\Clsid", {}, braced(created.identity)});
}

// The library creates objects of other libraries too; their classes are not its own.
bool isPublished(const CreatableClass& created) {
  return std::ranges::find(publishedClasses, created.identity, &DescribedClass::identity) !=
         std::end(publishedClasses);
}

void enterAll() {
  mustHaveTypeLibrary();
  ClassesValues values;
  for (const CreatableClass& created : creatableClasses())
    if (isPublished(created)) enterClass(values, created);
  enterTypeLibrary(values);
  platform().system->setClassesValues(values);
}

// What still leads to this copy of the library, whatever version of it entered that.
void removeOwn() {
  const std::u16string file = platform_layer::shownPath(libraryFile());
  ClassesValues values;
  for (const CreatableClass& created : creatableClasses())
    if (const auto entered = platform().system->readClassesValue(serverKey(created.identity), {});
        entered && entered->view() == file)
      enterClass(values, created);
  removeTypeLibrary(values);
  platform().system->deleteClassesValues(values);
}

}  // namespace

HRESULT registerServer() noexcept {
  return answer([] {
    openDoor();
    enterAll();
  });
}

HRESULT unregisterServer() noexcept {
  return answer([] {
    openDoor();
    removeOwn();
  });
}

}  // namespace CorvaneQueue
