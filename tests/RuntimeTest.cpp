// Objects, late binding, errors and collections, over a small interface of the test's own.
#include "ConnectionPoint.h"
#include "Expect.h"
#include "KeyedCollection.h"
#include "LateBound.h"

#include <CorvaneQueue/members.h>

namespace CorvaneQueue {

struct ISample : IDispatch {
  virtual HRESULT CORVANE_CALL get_Text(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Text(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Add(LONG a, LONG b, LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Exchange(BSTR* text, VARIANT* any) noexcept = 0;
  virtual HRESULT CORVANE_CALL putref_Other(ISample* value) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_Swap(ISample** other) noexcept = 0;
};
template <>
struct InterfaceTraits<ISample> {
  static constexpr IID iid = {1, 2, 3, {4}};
  static constexpr const char16_t* name = u"ISample";
  static const std::span<const Member> members;
};
// What cannot be written back.
template <>
struct detail::Incoming<ISample**> {
  HRESULT accept(VARIANT*) noexcept { return S_OK; }
  ISample** value() noexcept { return nullptr; }
  HRESULT finish() noexcept { return E_OUTOFMEMORY; }
};
constexpr std::array sampleMembers{
    get<&ISample::get_Text>(0, u"Text"),
    let<&ISample::put_Text>(0, u"Text"),
    function<&ISample::raw_Add>(7, u"Add", "", {u"a", u"b"}).optional(1),
    method<&ISample::raw_Exchange>(8, u"Exchange", "", {u"text", u"any"}),
    set<&ISample::putref_Other>(9, u"Other"),
    method<&ISample::raw_Swap>(10, u"Swap", "", {u"other"}),
};
const std::span<const Member> InterfaceTraits<ISample>::members = sampleMembers;

class Sample final : public Object<Sample, DispatchForm<ISample>> {
 public:
  static constexpr GUID classIdentity = {9, 9, 9, {9}};
  static constexpr const char16_t* className = u"Sample";
  HRESULT CORVANE_CALL get_Text(BSTR* result) noexcept final {
    return answer(result, [&] { return text; });
  }
  HRESULT CORVANE_CALL put_Text(BSTR value) noexcept final {
    return answer([&] {
      if (StringRef(value).view() == u"bad") throw Error(4711, u"Sample", u"That is bad.");
      text = String(StringRef(value));
    });
  }
  HRESULT CORVANE_CALL raw_Add(LONG a, LONG b, LONG* result) noexcept final {
    return answer(result, [&] { return a + b; });
  }
  HRESULT CORVANE_CALL raw_Exchange(BSTR* changed, VARIANT* any) noexcept final {
    return answer([&] {
      SysFreeString(given(changed));
      *changed = SysAllocString(u"out");
      VariantClear(any);
      *any = Variant(std::int32_t{5}).detach();
    });
  }
  HRESULT CORVANE_CALL putref_Other(ISample* value) noexcept final {
    return answer([&] { other = Ref<ISample>(value); });
  }
  HRESULT CORVANE_CALL raw_Swap(ISample**) noexcept final {
    put_Text(StringRef(String(u"bad")).bstr());  // succeeds all the same, and leaves a text behind
    return S_OK;
  }
  String text;
  Ref<ISample> other;
};

namespace {

struct LateCall {
  Variant result;
  HRESULT status = S_OK;
  String description;
  LONG number = 0;
  UINT argument = 99;

  // The arguments stand last first.
  LateCall(IDispatch* object, DISPID id, WORD flags, const std::vector<Variant>& arguments,
           std::vector<DISPID> named = {}) {
    if ((flags & DISPATCH_PROPERTYPUT) != 0) named = {DISPID_PROPERTYPUT};
    std::vector<VARIANT> raw;
    for (const Variant& value : arguments) raw.push_back(value.get());
    DISPPARAMS parameters{raw.data(), named.data(), static_cast<UINT>(raw.size()),
                          static_cast<UINT>(named.size())};
    EXCEPINFO exception{};
    status = object->Invoke(id, IID_NULL, 0, flags, &parameters, result.address(), &exception, &argument);
    number = exception.scode;
    description = String::adopt(exception.bstrDescription);
    SysFreeString(exception.bstrSource);
  }
};

const Variant one(std::int32_t{1});
const Variant two(std::int32_t{2});

TEST(LateBinding, FindsNamesAndCallsEveryKind) {
  const auto sample = make<Sample>();
  std::u16string texts[] = {u"aDD", u"B", u"Nope"};
  LPOLESTR names[] = {texts[0].data(), texts[1].data()};
  LPOLESTR unknown[] = {texts[2].data()};
  DISPID ids[2];
  EXPECT_EQ(sample->GetIDsOfNames(IID_NULL, names, 2, 0, ids), S_OK);
  EXPECT_EQ(ids[0], 7);
  EXPECT_EQ(ids[1], 1);
  EXPECT_EQ(sample->GetIDsOfNames(IID_NULL, unknown, 1, 0, ids), DISP_E_UNKNOWNNAME);

  EXPECT_EQ(toInt32(LateCall(sample.get(), 7, DISPATCH_METHOD, {u"40", two}).result.get()), 42);
  EXPECT_EQ(toInt32(LateCall(sample.get(), 7, DISPATCH_METHOD, {one}).result.get()), 1);
  EXPECT_EQ(toInt32(LateCall(sample.get(), 7, DISPATCH_METHOD, {two, one}, {1}).result.get()), 3);
  EXPECT_EQ(LateCall(sample.get(), 0, DISPATCH_PROPERTYPUT, {u"new"}).status, S_OK);
  EXPECT_EQ(toString(lateBoundGet(sample.get(), u"text").get()), u"new");
  EXPECT_EQ(LateCall(sample.get(), 9, DISPATCH_PROPERTYPUT, {asDispatch(make<Sample>())}).status, S_OK);
  EXPECT_TRUE(sample->other);
}

TEST(LateBinding, WritesByReferenceArgumentsBack) {
  const auto sample = make<Sample>();
  String text(u"in");
  Variant any(u"any");
  std::vector<Variant> arguments(2);
  arguments[1] = Variant::reference(text.address());
  arguments[0].address()->vt = VT_VARIANT | VT_BYREF;
  arguments[0].address()->pvarVal = any.address();
  EXPECT_EQ(LateCall(sample.get(), 8, DISPATCH_METHOD, arguments).status, S_OK);
  EXPECT_EQ(text, u"out");
  EXPECT_EQ(toInt32(any.get()), 5);
}

TEST(LateBinding, AnswersMistakesWithThePlatformsCodes) {
  const auto sample = make<Sample>();
  const auto status = [&](DISPID id, WORD flags, const std::vector<Variant>& arguments) {
    return LateCall(sample.get(), id, flags, arguments).status;
  };
  EXPECT_EQ(status(7, DISPATCH_METHOD, {}), DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(status(55, DISPATCH_METHOD, {}), DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(status(7, DISPATCH_PROPERTYGET, {}), DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(status(9, DISPATCH_PROPERTYPUTREF, {u"x"}), DISP_E_TYPEMISMATCH);
  EXPECT_EQ(status(7, DISPATCH_METHOD, {Variant::omitted()}), DISP_E_PARAMNOTOPTIONAL);
  const LateCall unknownName(sample.get(), 7, DISPATCH_METHOD, {two, one}, {5});
  EXPECT_EQ(unknownName.status, DISP_E_PARAMNOTFOUND);
  EXPECT_EQ(unknownName.argument, 0u);
  DISPPARAMS nowhere{nullptr, nullptr, 1, 0};
  EXPECT_EQ(sample->Invoke(7, IID_NULL, 0, DISPATCH_METHOD, &nowhere, nullptr, nullptr, nullptr),
            E_INVALIDARG);
  EXPECT_EQ(sample->Invoke(7, IID_IDispatch, 0, DISPATCH_METHOD, &nowhere, nullptr, nullptr, nullptr),
            DISP_E_UNKNOWNINTERFACE);
  const LateCall wrongType(sample.get(), 7, DISPATCH_METHOD, {one, u"x"});
  EXPECT_EQ(wrongType.status, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(wrongType.argument, 1u);
  const LateCall failing(sample.get(), 0, DISPATCH_PROPERTYPUT, {u"bad"});
  EXPECT_EQ(failing.status, DISP_E_EXCEPTION);
  EXPECT_EQ(failing.number, Error::toResult(4711));
  EXPECT_EQ(failing.description, u"That is bad.");
  const LateCall unwritten(sample.get(), 10, DISPATCH_METHOD, {Variant()});
  EXPECT_EQ(unwritten.number, Error::toResult(ErrorNumber::OutOfMemory));
  EXPECT_EQ(unwritten.description, u"Out of memory.");
}

TEST(Errors, TravelAsNumberSourceAndDescription) {
  const auto sample = make<Sample>();
  expectError(4711, u"Sample", "That is bad.", [&] { call<&ISample::put_Text>(sample.get(), u"bad"); });
  EXPECT_EQ(call<&ISample::get_Text>(sample.get()), u"");
  EXPECT_EQ(Error::toResult(65535), static_cast<HRESULT>(0x800AFFFFu));
  EXPECT_EQ(Error::toResult(E_NOTIMPL), E_NOTIMPL);
  EXPECT_TRUE(FAILED(Error::toResult(70000)));
  const std::pair<HRESULT, std::int32_t> standards[] = {
      {DISP_E_TYPEMISMATCH, 13}, {E_INVALIDARG, 5},   {DISP_E_OVERFLOW, 6}, {DISP_E_BADINDEX, 9},
      {E_OUTOFMEMORY, 7},        {E_NOINTERFACE, 13}, {E_FAIL, E_FAIL}};
  for (const auto& [result, number] : standards) EXPECT_EQ(Error::fromResult(result).number(), number);
  expectError(91, nullptr, "Object not set",
              [] { call<&ISample::get_Text>(static_cast<ISample*>(nullptr)); });
  EXPECT_EQ(Error::fromResult(sample->get_Text(nullptr)).number(), 91);
  EXCEPINFO later{};
  later.pfnDeferredFillIn = [](EXCEPINFO* exception) {
    exception->wCode = 1004;
    exception->bstrDescription = SysAllocString(u"Told when asked.");
    return S_OK;
  };
  expectError(1004, u"", "Told when asked.", [&] { throwIfInvokeFailed(DISP_E_EXCEPTION, later); });
  // A connection point reports no errors: what lies there is about something else.
  call<&ISample::raw_Swap>(sample.get(), static_cast<ISample**>(nullptr));
  expectError(E_NOTIMPL, u"", "without a description", [&] {
    call<&IConnectionPoint::EnumConnections>(Ref<IConnectionPoint>(make<ConnectionPoint>(IID_NULL, nullptr)),
                                             static_cast<IEnumConnections**>(nullptr));
  });
}

TEST(Collections, FindByKeyAndPositionAndEnumerateASnapshot) {
  KeyedCollection<Sample> samples;
  for (const char16_t* name : {u"One", u"Two", u"Drei", u"Ärger"}) {
    samples.add(make<Sample>(), name);
    samples.item(Variant(name).get())->text = name;
  }
  const auto textAt = [&](const Variant& key) { return samples.item(key.get())->text; };
  EXPECT_EQ(textAt(2.6), u"Drei");
  EXPECT_EQ(errorNumber([&] { textAt(std::int32_t{0}); }), ErrorNumber::BadIndex);
  EXPECT_EQ(errorNumber([&] { textAt(Variant::bytes({})); }), ErrorNumber::TypeMismatch);

  const auto enumerator = samples.enumerator();
  samples.remove(Variant(u"two").get());
  EXPECT_EQ(textAt(std::int32_t{2}), u"Drei");
  EXPECT_EQ(textAt(u"ärger"), u"Ärger");
  VARIANT elements[3];
  ULONG fetched = 0;
  EXPECT_EQ(enumerator->Skip(1), S_OK);
  IEnumVARIANT* copy = nullptr;
  EXPECT_EQ(enumerator->Clone(&copy), S_OK);
  EXPECT_EQ(enumerator->Next(3, elements, &fetched), S_OK);
  EXPECT_EQ(toString(lateBoundGet(elements[0].pdispVal, u"Text").get()), u"Two");
  for (VARIANT& element : elements) VariantClear(&element);
  EXPECT_EQ(enumerator->Next(1, elements, nullptr), S_FALSE);
  EXPECT_EQ(copy->Skip(4), S_FALSE);
  EXPECT_EQ(copy->Reset(), S_OK);
  EXPECT_EQ(copy->Next(1, elements, nullptr), S_OK);
  VariantClear(elements);
  copy->Release();
}

}  // namespace

}  // namespace CorvaneQueue
