// Entry of the classes, their names, the interfaces and the type library into the registry, for
// processes that look the library up there.
#include "CreatableClasses.h"
#include "Platform.h"
#include "PublishedTypes.h"

#include <CorvaneQueue/server.h>
#include <fstream>
#include <sstream>
#include <vector>

namespace CorvaneQueue {

namespace {

std::u16string widened(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

std::u16string braced(const GUID& guid) {
  std::u16string text = widened(guidText(guid));
  for (char16_t& c : text)
    if (c >= u'a' && c <= u'f') c = static_cast<char16_t>(c - u'a' + u'A');
  return u"{" + text + u"}";
}

// The file that this code was mapped from; the loader may know it by a name that was relative to another
// directory.
std::u16string libraryFile() {
  const auto here = reinterpret_cast<std::uintptr_t>(&DllRegisterServer);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream words(line);
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
    char dash = 0;
    words >> std::hex >> begin >> dash >> end;
    const auto path = line.find('/');
    if (here < begin || here >= end || path == std::string::npos) continue;
    return std::u16string(fromUtf8(line.substr(path)).view());
  }
  throw Error(E_FAIL, u"CorvaneQueue", u"The file of the library could not be found out.");
}

std::u16string classKey(const CLSID& identity) { return u"CLSID\\" + braced(identity); }
std::u16string interfaceKey(const IID& identity) { return u"Interface\\" + braced(identity); }
std::u16string typeLibraryKey() { return u"TypeLib\\" + braced(libraryIdentity); }

std::vector<ClassesValue> registration() {
  const std::u16string file = libraryFile();
  const std::u16string library = braced(libraryIdentity);
  const std::u16string version = widened(libraryVersion);
  std::vector<ClassesValue> values;
  const auto enter = [&](std::u16string key, std::u16string text, std::u16string name = {}) {
    values.push_back({std::move(key), std::move(name), std::move(text)});
  };
  for (const CreatableClass& created : creatableClasses()) {
    const std::u16string key = classKey(created.identity);
    enter(key, created.name);
    enter(key + u"\\InprocServer32", file);
    enter(key + u"\\InprocServer32", u"Apartment", u"ThreadingModel");
    enter(key + u"\\ProgID", created.name);
    enter(created.name, created.name);
    enter(std::u16string(created.name) + u"\\Clsid", braced(created.identity));
  }
  for (const DescribedClass& published : publishedClasses) {
    if (!published.isCreatable) continue;
    enter(classKey(published.identity) + u"\\TypeLib", library);
    enter(classKey(published.identity) + u"\\VERSION", version);
  }
  for (const DescribedInterface& published : publishedInterfaces) {
    const std::u16string key = interfaceKey(published.iid);
    enter(key, published.name);
    enter(key + u"\\TypeLib", library);
    enter(key + u"\\TypeLib", version, u"Version");
  }
  enter(typeLibraryKey() + u"\\" + version, widened(libraryHelp));
  enter(typeLibraryKey() + u"\\" + version + u"\\409\\linux64", file);
  return values;
}

}  // namespace

}  // namespace CorvaneQueue

using namespace CorvaneQueue;

extern "C" {

HRESULT DllRegisterServer() noexcept {
  return answer([] {
    openDoor();
    platform().system->setClassesValues(registration());
  });
}

HRESULT DllUnregisterServer() noexcept {
  return answer([] {
    openDoor();
    platform().system->deleteClassesValues(registration());
  });
}

}  // extern "C"
