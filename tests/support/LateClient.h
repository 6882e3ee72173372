// The library as a client has it that is not linked with it: loaded from a file, its objects known by the
// names of their members alone.
#pragma once

#include <CorvaneQueue/automation.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

namespace late_client {

using namespace CorvaneQueue;

struct Library {
  explicit Library(const std::string& file) : handle(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) throw std::runtime_error(dlerror());
  }
  ~Library() {
    EXPECT_EQ(canUnloadNow(), S_OK);
    dlclose(handle);
  }
  template <class Function>
  Function* find(const char* name) const {
    auto* found = reinterpret_cast<Function*>(dlsym(handle, name));
    if (found == nullptr) throw std::runtime_error(std::string("not exported: ") + name);
    return found;
  }
  void* handle;
#define IMPORTED(member, name) \
  decltype(&CorvaneQueue::name) member = find<decltype(CorvaneQueue::name)>(#name)
  IMPORTED(sysAllocStringLen, SysAllocStringLen);
  IMPORTED(sysFreeString, SysFreeString);
  IMPORTED(sysStringLen, SysStringLen);
  IMPORTED(variantClear, VariantClear);
  IMPORTED(classOf, CLSIDFromProgID);
  IMPORTED(createInstance, CoCreateInstance);
  IMPORTED(makeArray, SafeArrayCreateVector);
#undef IMPORTED
  HRESULT (*registerServer)() = find<HRESULT()>("DllRegisterServer");
  HRESULT (*unregisterServer)() = find<HRESULT()>("DllUnregisterServer");
  HRESULT (*canUnloadNow)() = find<HRESULT()>("DllCanUnloadNow");
};
inline std::unique_ptr<Library> library;
template <class Use>
void with(const std::filesystem::path& file, Use&& use) {
  library = std::make_unique<Library>(file);
  use();
  library = nullptr;
}

// A variant that ends itself. Of an object nothing is known but the names of its members.
class Value {
 public:
  VARIANT raw{};
  Value() = default;
  Value(int number) { raw.vt = VT_I4, raw.lVal = number; }
  Value(bool truth) { raw.vt = VT_BOOL, raw.boolVal = truth ? VARIANT_TRUE : VARIANT_FALSE; }
  Value(const char16_t* text) {
    const auto length = std::char_traits<char16_t>::length(text);
    raw.vt = VT_BSTR, raw.bstrVal = library->sysAllocStringLen(text, static_cast<UINT>(length));
  }
  Value(std::string_view bytes) {
    raw.vt = VT_ARRAY | VT_UI1, raw.parray = library->makeArray(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
    bytes.copy(static_cast<char*>(raw.parray->pvData), bytes.size());
  }
  static Value omitted() {
    Value value;
    value.raw.vt = VT_ERROR, value.raw.scode = DISP_E_PARAMNOTFOUND;
    return value;
  }
  static Value create(const char16_t* name) {
    CLSID identity{};
    EXPECT_EQ(library->classOf(name, &identity), S_OK);
    Value value;
    value.raw.vt = VT_DISPATCH;
    EXPECT_EQ(library->createInstance(identity, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                                      reinterpret_cast<void**>(&value.raw.pdispVal)),
              S_OK);
    return value;
  }
  Value(Value&& other) noexcept : raw(std::exchange(other.raw, VARIANT{})) {}
  ~Value() { library->variantClear(&raw); }
  std::u16string text() const {
    EXPECT_EQ(raw.vt, VT_BSTR);
    return raw.vt == VT_BSTR ? std::u16string(raw.bstrVal, library->sysStringLen(raw.bstrVal)) : u"?";
  }

  DISPID idOf(std::u16string name) const {
    if (raw.vt != VT_DISPATCH || raw.pdispVal == nullptr) throw std::runtime_error("no object");
    for (std::size_t i = 1; i < name.size(); i += 2)  // letter case does not count
      if (name[i] >= u'a' && name[i] <= u'z') name[i] = static_cast<char16_t>(name[i] - 32);
    LPOLESTR names[] = {name.data()};
    DISPID id = DISPID_UNKNOWN;
    EXPECT_EQ(raw.pdispVal->GetIDsOfNames(IID_NULL, names, 1, 1033, &id), S_OK);
    return id;
  }
  // The result of the call, or the error's own when the member has failed.
  HRESULT invoke(WORD flags, DISPID id, std::vector<VARIANT> arguments, Value* value = nullptr,
                 std::u16string* source = nullptr) const {
    std::ranges::reverse(arguments);
    DISPID putId = DISPID_PROPERTYPUT;
    const bool isPut = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
    DISPPARAMS parameters{arguments.data(), isPut ? &putId : nullptr, static_cast<UINT>(arguments.size()),
                          isPut ? 1u : 0u};
    EXCEPINFO exception{};
    const HRESULT result =
        raw.pdispVal->Invoke(id, IID_NULL, 1033, flags, &parameters, value != nullptr ? &value->raw : nullptr,
                             &exception, nullptr);
    if (source != nullptr && exception.bstrSource != nullptr) *source = exception.bstrSource;
    for (BSTR text : {exception.bstrSource, exception.bstrDescription, exception.bstrHelpFile})
      library->sysFreeString(text);
    return result == DISP_E_EXCEPTION ? exception.scode : result;
  }
  template <class... A>
  HRESULT tried(WORD flags, const char16_t* name, const A&... arguments) const {
    return invoke(flags, idOf(name), {static_cast<const Value&>(arguments).raw...});
  }
  template <class... A>
  Value get(const char16_t* name, const A&... arguments) const {
    return done(DISPATCH_PROPERTYGET, name, arguments...);
  }
  template <class... A>
  Value call(const char16_t* name, const A&... arguments) const {
    return done(DISPATCH_METHOD, name, arguments...);
  }
  void let(const char16_t* name, const Value& value) const { done(DISPATCH_PROPERTYPUT, name, value); }
  void set(const char16_t* name, const Value& value) const { done(DISPATCH_PROPERTYPUTREF, name, value); }

 private:
  template <class... A>
  Value done(WORD flags, const std::u16string& name, const A&... arguments) const {
    Value value;
    EXPECT_EQ(invoke(flags, idOf(name), {static_cast<const Value&>(arguments).raw...}, &value), S_OK)
        << std::string(name.begin(), name.end());
    return value;
  }
};

}  // namespace late_client
