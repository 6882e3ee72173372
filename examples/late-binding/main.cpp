// Calls the objects by name, from a program that is not linked with the library: as a script engine does. The
// first argument is the library's file; a program of an installation finds it with CLSIDFromProgID and
// CoCreateInstance after "corvaneq register".
#include <CorvaneQueue/Queue.h>

#include <dlfcn.h>
#include <cstdio>

using namespace CorvaneQueue;

int main(int argc, char** argv) {
  void* const library = dlopen(argc > 1 ? argv[1] : "libCorvaneQueue.so.0", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  const auto getClassObject =
      reinterpret_cast<HRESULT (*)(const CLSID&, const IID&, void**)>(dlsym(library, "DllGetClassObject"));
  const auto allocate = reinterpret_cast<BSTR (*)(const char16_t*)>(dlsym(library, "SysAllocString"));
  const auto release = reinterpret_cast<void (*)(BSTR)>(dlsym(library, "SysFreeString"));

  if (getClassObject == nullptr || allocate == nullptr || release == nullptr) {
    std::fprintf(stderr, "That is another library.\n");
    return 1;
  }

  IClassFactory* factory = nullptr;
  IDispatch* queue = nullptr;
  if (getClassObject(queueClass, iidOf<IClassFactory>, reinterpret_cast<void**>(&factory)) < 0) return 1;
  factory->CreateInstance(nullptr, iidOf<IDispatch>, reinterpret_cast<void**>(&queue));
  factory->Release();

  const auto call = [&](const char16_t* name, const char16_t* text, bool hasFlag) {
    char16_t* names[] = {const_cast<char16_t*>(name)};
    DISPID identifier = 0;
    if (const HRESULT result = queue->GetIDsOfNames(GUID{}, names, 1, 0, &identifier); result < 0)
      return result;
    VARIANT arguments[2]{};  // the last one first
    arguments[0].vt = VT_BOOL;
    arguments[1].vt = VT_BSTR;
    arguments[1].bstrVal = allocate(text);
    DISPPARAMS parameters{hasFlag ? arguments : arguments + 1, nullptr, hasFlag ? 2U : 1U, 0};
    const HRESULT result =
        queue->Invoke(identifier, GUID{}, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
    release(arguments[1].bstrVal);
    return result;
  };
  const HRESULT initialized = call(u"Initialize", u"Orders", true);  // IsJournal: no
  const HRESULT sent = call(u"SendDocument", u"<order number=\"1\"/>", false);
  queue->Release();
  std::printf("Initialize 0x%08X, SendDocument 0x%08X\n", static_cast<unsigned>(initialized),
              static_cast<unsigned>(sent));
  return initialized < 0 || sent < 0;
}
