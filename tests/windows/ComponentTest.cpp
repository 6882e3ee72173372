// The component as the system sees it: registered, described by its type library, marshalled between
// apartments.
#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/describe.h>
#include <CorvaneQueue/server.h>

#include "Expect.h"
#include "Installation.h"

#include <gtest/gtest.h>
#include <atomic>
#include <thread>

namespace CorvaneQueue {
namespace {

constexpr GUID libraryIdentity = {
    0xfcf3e255, 0xf4d6, 0x4e38, {0xbe, 0x42, 0xd0, 0x82, 0xec, 0x97, 0x52, 0xf5}};

// A single-threaded apartment for the time of a test, in which the library is registered.
class Component : public ::testing::Test {
 protected:
  Component() {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    EXPECT_EQ(DllRegisterServer(), S_OK);
  }
  ~Component() override { ::CoUninitialize(); }

  static Ref<ITypeLib> registeredTypes() {
    ITypeLib* library = nullptr;
    EXPECT_EQ(::LoadRegTypeLib(libraryIdentity, 6, 2, 0x0409, &library), S_OK);
    return Ref<ITypeLib>::adopt(library);
  }
  static Ref<IDispatch> registered(const wchar_t* name) {
    CLSID identity;
    EXPECT_EQ(::CLSIDFromProgID(name, &identity), S_OK);
    void* object = nullptr;
    EXPECT_EQ(::CoCreateInstance(identity, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, &object), S_OK);
    return Ref<IDispatch>::adopt(static_cast<IDispatch*>(object));
  }
  const Installation home_;
};

bool isRegistered(const wchar_t* key) {
  HKEY opened = nullptr;
  if (::RegOpenKeyExW(HKEY_CLASSES_ROOT, key, 0, KEY_READ, &opened) != ERROR_SUCCESS) return false;
  ::RegCloseKey(opened);
  return true;
}

TEST_F(Component, LeavesNothingBehindInTheRegistry) {
  const wchar_t* const keys[] = {L"CorvaneQueue.Queue", L"CorvaneQueue.Operations",
                                 L"TypeLib\\{FCF3E255-F4D6-4E38-BE42-D082EC9752F5}"};
  for (const wchar_t* const key : keys) EXPECT_TRUE(isRegistered(key)) << key;
  EXPECT_EQ(DllUnregisterServer(), S_OK);
  for (const wchar_t* const key : keys) EXPECT_FALSE(isRegistered(key)) << key;
  EXPECT_EQ(DllUnregisterServer(), S_OK);
}

// Calls each member of the type with one argument too many, through the type itself: it finds the member
// behind its number, and refuses the call.
int callEach(ITypeInfo& type, IDispatch& object) {
  TYPEATTR* attributes = nullptr;
  EXPECT_EQ(type.GetTypeAttr(&attributes), S_OK);
  int called = 0;
  for (UINT i = 0; i < attributes->cFuncs; ++i) {
    FUNCDESC* function = nullptr;
    EXPECT_EQ(type.GetFuncDesc(i, &function), S_OK);
    if (function->oVft >= static_cast<SHORT>(7 * sizeof(void*))) {  // not one of the base
      std::vector<VARIANT> given(static_cast<std::size_t>(function->cParams) + 1);
      DISPID put = DISPID_PROPERTYPUT;
      const bool isPut = (function->invkind & (INVOKE_PROPERTYPUT | INVOKE_PROPERTYPUTREF)) != 0;
      DISPPARAMS parameters{given.data(), isPut ? &put : nullptr, static_cast<UINT>(given.size()),
                            isPut ? 1U : 0U};
      EXPECT_EQ(object.Invoke(function->memid, IID_NULL, 0x0409, static_cast<WORD>(function->invkind),
                              &parameters, nullptr, nullptr, nullptr),
                DISP_E_BADPARAMCOUNT)
          << "member " << function->memid;
      ++called;
    }
    type.ReleaseFuncDesc(function);
  }
  type.ReleaseTypeAttr(attributes);
  return called;
}

TEST_F(Component, IsDescribedByItsTypeLibrary) {
  const auto types = registeredTypes();
  ASSERT_NE(types, nullptr);
  int called = 0;
  for (const wchar_t* const name :
       {L"CorvaneQueue.Queue", L"CorvaneQueue.Queues", L"CorvaneQueue.Utility", L"CorvaneQueue.Operations"}) {
    const auto object = registered(name);
    ASSERT_NE(object, nullptr);
    UINT count = 0;
    EXPECT_EQ(object->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    ITypeInfo* type = nullptr;
    ASSERT_EQ(object->GetTypeInfo(0, 0x0409, &type), S_OK) << name;
    called += callEach(*Ref<ITypeInfo>::adopt(type), *object);
    IProvideClassInfo* provider = nullptr;
    ASSERT_EQ(object->QueryInterface(IID_IProvideClassInfo, reinterpret_cast<void**>(&provider)), S_OK);
    ITypeInfo* classType = nullptr;
    ASSERT_EQ(Ref<IProvideClassInfo>::adopt(provider)->GetClassInfo(&classType), S_OK);
    BSTR described = nullptr;
    Ref<ITypeInfo>::adopt(classType)->GetDocumentation(MEMBERID_NIL, &described, nullptr, nullptr, nullptr);
    const std::wstring full(name);
    EXPECT_EQ(String::adopt(described).view(), std::u16string(full.begin() + 13, full.end()));
  }
  EXPECT_GT(called, 80);
}

// Through the vtable that the type library describes, with the platform's own caller.
TEST_F(Component, HasItsMembersWhereTheTypeLibrarySays) {
  const auto utility = registered(L"CorvaneQueue.Utility");
  ITypeInfo* found = nullptr;
  ASSERT_EQ(utility->GetTypeInfo(0, 0x0409, &found), S_OK);
  const auto type = Ref<ITypeInfo>::adopt(found);
  wchar_t name[] = L"FormatQueuePathName";
  wchar_t* names[] = {name};
  MEMBERID member = 0;
  ASSERT_EQ(type->GetIDsOfNames(names, 1, &member), S_OK);
  Variant queue(u"Orders");
  DISPPARAMS parameters{queue.address(), nullptr, 1, 0};
  Variant path;
  const Ref<_Utility> typed = query<_Utility>(utility.get());
  ASSERT_EQ(type->Invoke(typed.get(), member, DISPATCH_METHOD, &parameters, path.address(), nullptr, nullptr),
            S_OK);
  EXPECT_EQ(toString(path.get()), u".\\Orders");
}

// In another apartment a client has a proxy, whose calls the object's own thread serves inside pump().
TEST_F(Component, IsCalledFromAnotherApartment) {
  const auto queue = query<_Queue>(registered(L"CorvaneQueue.Queue").get());
  call<&_Queue::raw_Initialize>(queue, u"Orders", VARIANT_FALSE);
  IStream* stream = nullptr;
  ASSERT_EQ(::CoMarshalInterThreadInterfaceInStream(iidOf<_Queue>, queue.get(), &stream), S_OK);
  std::atomic<bool> isOver = false;
  std::thread other([&] {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    void* given = nullptr;
    EXPECT_EQ(::CoGetInterfaceAndReleaseStream(stream, iidOf<_Queue>, &given), S_OK);
    if (const auto proxy = Ref<_Queue>::adopt(static_cast<_Queue*>(given))) {
      EXPECT_NE(proxy.get(), queue.get());
      EXPECT_EQ(errorNumber([&] { call<&_Queue::raw_SendDocument>(proxy, String(u"from elsewhere")); }), 0);
      EXPECT_EQ(call<&_Queue::get_Name>(proxy), u"Orders");
    }
    ::CoUninitialize();
    isOver = true;
  });
  while (!isOver) Apartment::current().pump(std::chrono::milliseconds(20));
  other.join();
  EXPECT_FALSE(call<&_Queue::raw_IsEmpty>(queue));
}

TEST_F(Component, IsDescribedAsItPrintsItself) {
  std::ifstream golden(GOLDEN_FILE, std::ios::binary);
  EXPECT_EQ(typeDescription(), std::string(std::istreambuf_iterator<char>(golden), {}));
}

}  // namespace
}  // namespace CorvaneQueue
