// The type library is the description, installed beside the library.
#include "TypeLibrary.h"

#include "File.h"
#include "Platform.h"
#include "PublishedTypes.h"

namespace CorvaneQueue {

namespace {

std::u16string widened(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

std::filesystem::path typeLibraryFile() { return libraryFile().replace_filename("CorvaneQueue.idl"); }

std::u16string typeLibraryKey() {
  return u"TypeLib\\" + braced(libraryIdentity) + u"\\" + widened(libraryVersion);
}
std::u16string typeLibraryFileKey() { return typeLibraryKey() + u"\\409\\linux64"; }

}  // namespace

void mustHaveTypeLibrary() {
  const std::filesystem::path types = typeLibraryFile();
  if (!platform_layer::isThere(types))
    throw Error(E_FAIL, u"CorvaneQueue",
                u"The type library \"" + platform_layer::shownPath(types) +
                    u"\" is not there; it is installed beside the library. Nothing was registered.");
}

void enterTypeLibrary(ClassesValues& values) {
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
  values.push_back({typeLibraryFileKey(), {}, platform_layer::shownPath(typeLibraryFile())});
}

// Older versions entered the library's own file.
void removeTypeLibrary(ClassesValues& values) {
  const auto entered = platform().system->readClassesValue(typeLibraryFileKey(), {});
  for (const std::filesystem::path& own : {typeLibraryFile(), libraryFile()})
    if (entered && entered->view() == platform_layer::shownPath(own)) return enterTypeLibrary(values);
}

}  // namespace CorvaneQueue
