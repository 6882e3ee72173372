// Entry of the classes, their names, the interfaces and the type library into the registry, for
// processes that look the library up there.
#include "CreatableClasses.h"
#include "File.h"
#include "Platform.h"
#include "Process.h"
#include "PublishedTypes.h"

#include <CorvaneQueue/server.h>
#include <algorithm>
#include <vector>

namespace CorvaneQueue {

namespace {

using Values = std::vector<ClassesValue>;

std::u16string widened(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

std::u16string braced(const GUID& guid) {
  std::u16string text = widened(guidText(guid));
  for (char16_t& c : text)
    if (c >= u'a' && c <= u'f') c = static_cast<char16_t>(c - u'a' + u'A');
  return u"{" + text + u"}";
}

std::string libraryFile() {
  const auto file = platform_layer::fileOfCode(reinterpret_cast<const void*>(&DllRegisterServer));
  if (file.empty()) throw Error(E_FAIL, u"CorvaneQueue", u"The file of the library could not be found out.");
  return file;
}
// It is installed beside the library.
std::string typeLibraryFile() {
  const std::string library = libraryFile();
  return library.substr(0, library.rfind('/') + 1) + "CorvaneQueue.idl";
}
std::u16string shown(const std::string& file) { return std::u16string(fromUtf8(file).view()); }

std::u16string classKey(const CLSID& identity) { return u"CLSID\\" + braced(identity); }
std::u16string serverKey(const CLSID& identity) { return classKey(identity) + u"\\InprocServer32"; }
std::u16string typeLibraryKey() {
  return u"TypeLib\\" + braced(libraryIdentity) + u"\\" + widened(libraryVersion);
}
std::u16string typeLibraryFileKey() { return typeLibraryKey() + u"\\409\\linux64"; }

void enterClass(Values& values, const CreatableClass& created) {
  const std::u16string key = classKey(created.identity);
  values.push_back({key, {}, created.name});
  values.push_back({serverKey(created.identity), {}, shown(libraryFile())});
  values.push_back({serverKey(created.identity), u"ThreadingModel", u"Apartment"});
  values.push_back({key + u"\\ProgID", {}, created.name});
  values.push_back({key + u"\\TypeLib", {}, braced(libraryIdentity)});
  values.push_back({key + u"\\VERSION", {}, widened(libraryVersion)});
  values.push_back({created.name, {}, created.name});
  values.push_back({std::u16string(created.name) + u"\\Clsid", {}, braced(created.identity)});
}

void enterTypes(Values& values) {
  const auto enterInterface = [&](const IID& iid, const char16_t* name) {
    const std::u16string key = u"Interface\\" + braced(iid);
    values.push_back({key, {}, name});
    values.push_back({key + u"\\TypeLib", {}, braced(libraryIdentity)});
    values.push_back({key + u"\\TypeLib", u"Version", widened(libraryVersion)});
  };
  for (const DescribedInterface& published : publishedInterfaces)
    enterInterface(published.iid, published.name);
  enterInterface(iidOf<__Queue>, u"__Queue");
  values.push_back({typeLibraryKey(), {}, widened(libraryHelp)});
  values.push_back({typeLibraryFileKey(), {}, shown(typeLibraryFile())});
}

// The library creates objects of other libraries too; their classes are not its own.
bool isPublished(const CreatableClass& created) {
  return std::ranges::find(publishedClasses, created.identity, &DescribedClass::identity) !=
         std::end(publishedClasses);
}

void enterAll() {
  const std::string types = typeLibraryFile();
  if (!platform_layer::isThere(types))
    throw Error(E_FAIL, u"CorvaneQueue",
                u"The type library \"" + shown(types) +
                    u"\" is not there; it is installed beside the library. Nothing was registered.");
  Values values;
  for (const CreatableClass& created : creatableClasses())
    if (isPublished(created)) enterClass(values, created);
  enterTypes(values);
  platform().system->setClassesValues(values);
}

// What still leads to this copy of the library, whatever version of it entered that.
void removeOwn() {
  const auto leadsTo = [](const std::u16string& key, const std::string& file) {
    const auto entered = platform().system->readClassesValue(key, {});
    return entered && entered->view() == shown(file);
  };
  Values values;
  for (const CreatableClass& created : creatableClasses())
    if (leadsTo(serverKey(created.identity), libraryFile())) enterClass(values, created);
  if (leadsTo(typeLibraryFileKey(), typeLibraryFile()) || leadsTo(typeLibraryFileKey(), libraryFile()))
    enterTypes(values);
  platform().system->deleteClassesValues(values);
}

}  // namespace

}  // namespace CorvaneQueue

namespace CorvaneQueue {
extern "C" {

HRESULT DllRegisterServer() noexcept {
  return answer([] {
    openDoor();
    enterAll();
  });
}

HRESULT DllUnregisterServer() noexcept {
  return answer([] {
    openDoor();
    removeOwn();
  });
}

}  // extern "C"

}  // namespace CorvaneQueue
