#include "Expect.h"
#include "StoredText.h"

#include <CorvaneQueue/Variant.h>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ctime>

using namespace CorvaneQueue;

namespace {

std::string textOf(const Variant& value) { return toUtf8(toString(value.get())); }

TEST(Strings, KeepEverySequenceOfUnits) {
  const std::u16string odd{u'a', 0, 0xD800, u'b', 0xDC00, 0xDBFF, 0xDFFF, 0xD83D};
  const String text(odd);
  EXPECT_EQ(text.view(), odd);
  EXPECT_EQ(SysStringByteLen(text.bstr()), odd.size() * 2);
  EXPECT_EQ(text.bstr()[odd.size()], 0);
  const std::string stored = toStored(odd);
  EXPECT_EQ(fromStored(stored).view(), odd);
  EXPECT_EQ(String(), String(u""));
  // A pair written as two surrogates has a shorter form, and ordinary UTF-8 has no lone ones.
  EXPECT_EQ(errorNumber([] { fromStored("\xED\xA0\xBD\xED\xB8\x80"); }), ErrorNumber::TypeMismatch);
  EXPECT_EQ(errorNumber([&] { fromUtf8("ok\xED\xA0\xBD"); }), ErrorNumber::InvalidArgument);
  for (const char* bad : {"\x80", "\xC0\x80", "\xC3", "\xE0\x80\x80", "\xF4\x90\x80\x80", "\xF5"})
    EXPECT_EQ(errorNumber([&] { fromUtf8(bad); }), ErrorNumber::InvalidArgument) << bad;
  std::string longText(1000, 'x');
  longText += "\xE2\x82\xAC\xF0\x9F\x98\x80" + longText;
  EXPECT_EQ(toUtf8(fromUtf8(longText)), longText);
}

TEST(Strings, FoldLetterCaseBeyondAscii) {
  EXPECT_EQ(foldCase(u"ÄÖÜ ΣΑΣ Я"), foldCase(u"äöü σας я"));
  EXPECT_EQ(foldCase(u"\xD801\xDC00"), u"\xD801\xDC28");  // beyond 16 bits
  EXPECT_NE(foldCase(u"straße"), foldCase(u"strasse"));   // simple folding keeps lengths
  EXPECT_EQ(foldCase(u"\xDC00"), u"\xDC00");
}

static_assert(sizeof(VARIANT) == 24 && offsetof(VARIANT, lVal) == 8 && sizeof(SAFEARRAY) == 32,
              "the platform's layout");

// What a value becomes, as text, or what is wrong.
std::string converted(const VARIANT& from, VARTYPE to) {
  Variant changed(std::int32_t{77});
  const HRESULT result = VariantChangeType(changed.address(), &from, VARIANT_ALPHABOOL, to);
  if (FAILED(result)) {
    EXPECT_EQ(toInt32(changed.get()), 77) << "the target of a failure keeps its value";
    const std::pair<HRESULT, const char*> names[] = {{DISP_E_TYPEMISMATCH, "mismatch"},
                                                     {DISP_E_OVERFLOW, "overflow"},
                                                     {DISP_E_BADVARTYPE, "no type"},
                                                     {E_INVALIDARG, "invalid"}};
    for (const auto& [number, name] : names)
      if (number == result) return name;
    return std::to_string(result);
  }
  EXPECT_EQ(changed.type(), to);
  return to == VT_EMPTY ? "empty" : to == VT_NULL ? "null" : textOf(changed);
}

TEST(Variants, ConvertTextsByThePlatformsRules) {
  const std::time_t now = std::time(nullptr);
  const std::string thisYear = std::to_string(std::localtime(&now)->tm_year + 1900);
  const std::pair<VARTYPE, std::vector<std::string>> texts[] = {
      {VT_UI1, {"255.4 -> 255", "255.5 -> overflow", "-0.5 -> 0", "-0.6 -> overflow", "&HFF -> 255"}},
      {VT_I2, {"-32768.5 -> -32768", "32767.5 -> overflow", "&HFFFF -> -1", "&H10000 -> overflow"}},
      {VT_I4,
       {" 42  -> 42",
        "\u00A0- \u3000 42\u2009 -> -42",
        "4\u00A02 -> mismatch",
        "(17) -> -17",
        "( $1,7 ) -> -17",
        "(17 -> mismatch",
        "$5 -> 5",
        "42$ -> 42",
        "42 $- -> -42",
        "$5$ -> 5",
        "$$5 -> mismatch",
        "5- -> -5",
        "-5- -> mismatch",
        "2.5 -> 2",
        "3.5 -> 4",
        "1.234,5 -> 1",
        "7E-2 -> 0",
        "1e3 -> 1000",
        "1D3$ -> 1000",
        "$1e3 -> mismatch",
        "1e -> mismatch",
        "1e99999999999 -> overflow",
        "&H10 -> 16",
        "&HFFFFFFFF -> -1",
        "&HFFFFFFFFFFFFFFFF -> overflow",
        "&O17 -> 15",
        "&O18 -> mismatch",
        " -> mismatch",
        "12x -> mismatch",
        ",1 -> mismatch"}},
      {VT_R4, {"0.1 -> 0.1", "3.4028235e38 -> 3.402823E+38", "3.5e38 -> overflow", "1e-60 -> 0"}},
      {VT_R8,
       {"-1,234.5 -> -1234.5", "1.2.3 -> mismatch", "0.00000123 -> 1.23E-06", "1e309 -> overflow",
        "-0 -> 0"}},
      {VT_I8,
       {"0000000000000000042 -> 42", "9223372036854775807.4 -> 9223372036854775807",
        "9223372036854775807.5 -> overflow", "-9223372036854775808 -> -9223372036854775808",
        "-9223372036854775809 -> overflow"}},
      {VT_UI8,
       {"9223372036854775808 -> 9223372036854775808", "18446744073709551615 -> 18446744073709551615",
        "18446744073709551616 -> overflow", "-1 -> overflow"}},
      {VT_BOOL,
       {"true -> True", "fAlse -> False", "#FALSE# -> False", "#True# -> mismatch", " true -> mismatch",
        "0 -> False", "-0.1 -> True", "yes -> mismatch"}},
      {VT_DATE,
       {"11/22/2026 9:30:15 PM -> 11/22/2026 9:30:15 PM", "2026-11-22 21:30:15 -> 11/22/2026 9:30:15 PM",
        "22 Nov 2026 -> 11/22/2026", "November 22, 2026 -> 11/22/2026", "22-Nov-26 -> 11/22/2026",
        "Sept 22 2026 -> mismatch", "Nov 1 Dec -> mismatch", "2/29/2024 -> 2/29/2024",
        "2/29/2023 -> mismatch",
        // two parts
        "1/2 -> 1/2/YEAR", "13/1 -> 1/13/YEAR", "Nov 22 -> 11/22/YEAR", "22Nov -> 11/22/YEAR",
        "Nov 31 -> 11/1/2031", "2/30 -> 2/1/2030", "11/2026 -> 11/1/2026", "2026 Nov -> 11/1/2026",
        "1, 2 -> 1/2/YEAR", "13/13 -> mismatch", "1/ -> mismatch", "1/2, -> mismatch", "Nov -> mismatch",
        "1 -> mismatch",
        // other orders
        "13/1/23 -> 1/23/2013", "26-11-22 -> 11/22/2026", "22/11/2026 -> 11/22/2026",
        "2026-13-01 -> 1/13/2026", "13/13/13 -> mismatch", "1/2/3/4 -> mismatch", "1//2/2003 -> mismatch",
        // years
        "1/1/29 -> 1/1/2029", "1/1/30 -> 1/1/2030", "1/1/49 -> 1/1/2049", "1/1/50 -> 1/1/1950",
        "1/1/100 -> 1/1/100", "1/1/999 -> 1/1/999", "1/1/0099 -> 1/1/1999", "1/1/10000 -> mismatch",
        "257/1/2000 -> mismatch",
        // times
        "13:00 -> 1:00:00 PM", "13:00 PM -> 1:00:00 PM", "1 PM -> 1:00:00 PM", "1a -> 1:00:00 AM",
        "12:00 am -> 12:00:00 AM", "0 PM -> 12:00:00 PM", "2.5 -> 2:05:00 AM", "1 : 2.3 p -> 1:02:03 PM",
        "4:05 PM 1/2/2003 -> 1/2/2003 4:05:00 PM", "1/2/2003, 4.5 -> 1/2/2003 4:05:00 AM",
        "24:00 -> mismatch", "1:60 -> mismatch", "1:2:3:4 -> mismatch", "PM 1:2 -> mismatch",
        "1/2/2003-4:05 -> mismatch", "1/2 4:05 2003 -> mismatch", "2003-01-02T4:05 -> mismatch",
        "-1:30 -> mismatch"}},
      {VT_UNKNOWN, {"1 -> mismatch"}},
  };
  for (const auto& [type, cases] : texts)
    for (const std::string& text : cases) {
      const auto arrow = text.find(" -> ");
      std::string expected = text.substr(arrow + 4);
      if (const auto year = expected.find("YEAR"); year != std::string::npos)
        expected.replace(year, 4, thisYear);
      EXPECT_EQ(converted(Variant(fromUtf8(text.substr(0, arrow))).get(), type), expected)
          << type << ": " << text;
    }
  EXPECT_EQ(converted(Variant(String(std::u16string_view(u"42\0x", 4))).get(), VT_I4), "42");
}

template <class T>
Variant of(VARTYPE type, T value) {
  Variant variant;
  variant.address()->vt = type;
  std::memcpy(&variant.address()->llVal, &value, sizeof value);
  return variant;
}

// An object whose default member is what it holds, or the object itself.
struct Valued final : IDispatch {
  Variant value;
  WORD askedWith = 0;
  HRESULT CORVANE_CALL QueryInterface(REFIID, void**) noexcept override { return E_NOINTERFACE; }
  ULONG CORVANE_CALL AddRef() noexcept override { return 1; }
  ULONG CORVANE_CALL Release() noexcept override { return 1; }
  HRESULT CORVANE_CALL GetTypeInfoCount(UINT*) noexcept override { return E_NOTIMPL; }
  HRESULT CORVANE_CALL GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
  HRESULT CORVANE_CALL GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT CORVANE_CALL Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                              EXCEPINFO*, UINT*) noexcept override {
    EXPECT_EQ(id, DISPID_VALUE);
    EXPECT_EQ(parameters->cArgs, 0u);
    askedWith = flags;
    return VariantCopy(result, &value.get());
  }
};

TEST(Variants, ConvertValuesByThePlatformsRules) {
  const auto number = [](auto value) { return Variant(value); };
  struct {
    Variant from;
    VARTYPE to;
    const char* expected;
  } const rows[] = {
      {Variant(), VT_I4, "0"},
      {Variant(), VT_BSTR, ""},
      {Variant(), VT_DATE, "12:00:00 AM"},
      {Variant(), VT_ERROR, "mismatch"},
      {number(-2.5), VT_I4, "-2"},
      {number(std::int32_t{40000}), VT_I2, "overflow"},
      {number(1e300), VT_I8, "overflow"},
      {number(1e300), VT_R4, "overflow"},
      {of(VT_R8, std::nan("")), VT_UI8, "overflow"},
      {number(-9223372036854775808.0), VT_I8, "-9223372036854775808"},
      {number(9.3e18), VT_UI8, "9300000000000000000"},
      {number(18446744073709551616.0), VT_UI8, "overflow"},
      {number(-0.6), VT_UI8, "overflow"},
      // one width: the same bits
      {of(VT_UI4, 0xFFFFFFFFu), VT_I4, "-1"},
      {of(VT_INT, -1), VT_UINT, "4294967295"},
      {number(std::int16_t{-1}), VT_UI2, "65535"},
      {number(std::int64_t{-1}), VT_UI8, "18446744073709551615"},
      {of(VT_UI8, ~0ull), VT_I8, "-1"},
      {number(std::int32_t{-1}), VT_UI8, "overflow"},
      {number(std::int16_t{-1}), VT_UI4, "overflow"},
      {of(VT_UI2, std::uint16_t{65535}), VT_I2, "-1"},
      // truths
      {number(true), VT_I4, "-1"},
      {number(true), VT_UI1, "255"},
      {number(true), VT_UI2, "65535"},
      {number(true), VT_UI8, "18446744073709551615"},
      {number(false), VT_BSTR, "False"},
      {number(0.25), VT_BOOL, "True"},
      // reals as text
      {number(0.1), VT_BSTR, "0.1"},
      {number(1e21), VT_BSTR, "1E+21"},
      {number(-0.0), VT_BSTR, "0"},
      {of(VT_R4, 0.1f), VT_BSTR, "0.1"},
      {of(VT_R4, 9999999.f), VT_BSTR, "9999999"},
      {of(VT_R4, 16777216.f), VT_BSTR, "1.677722E+07"},
      // dates
      {number(std::int32_t{1}), VT_DATE, "12/31/1899"},
      {number(Date{-1.25}), VT_BSTR, "12/29/1899 6:00:00 AM"},
      {number(Date{-657434}), VT_BSTR, "1/1/100"},
      {number(Date{-657435}), VT_BSTR, "invalid"},
      {number(Date{2958466}), VT_BSTR, "invalid"},
      {number(Date{2958465.9999999}), VT_BSTR, "invalid"},
      {number(Date{1e7}), VT_I4, "10000000"},
      {number(3e6), VT_DATE, "overflow"},
      // nothing, errors, arrays, types that are none
      {number(std::int32_t{5}), VT_EMPTY, "empty"},
      {Variant(u"text"), VT_NULL, "null"},
      {Variant::omitted(), VT_EMPTY, "empty"},
      {of(VT_NULL, 0), VT_I4, "mismatch"},
      {Variant::omitted(), VT_I4, "mismatch"},
      {Variant::bytes({}), VT_NULL, "null"},
      {Variant::bytes({}), VT_I4, "mismatch"},
      {number(true), VT_ARRAY | VT_UI1, "mismatch"},
      {number(true), VT_VARIANT, "mismatch"},
      {number(true), VT_VOID, "no type"},
      {number(true), 15, "no type"},
      {number(true), VT_BYREF | VT_EMPTY, "no type"},
      {of(VT_VOID, 0), VT_I4, "no type"},
      {of(VT_I4 | VT_BYREF, nullptr), VT_I4, "mismatch"},
      {Variant(Ref<IDispatch>()), VT_I4, "no type"},
      {Variant(Ref<IDispatch>()), VT_ERROR, "mismatch"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(converted(row.from.get(), row.to), row.expected) << "row " << &row - rows;
}

TEST(Variants, ConvertBytesToTextAndBack) {
  const std::uint8_t bytes[] = {'4', 0, '2', 0, '!'};
  const Variant made = Variant::bytes(bytes).as(VT_BSTR);
  const Variant text = made;  // a copy keeps the odd byte too
  EXPECT_EQ(toString(text.get()), u"42");
  EXPECT_TRUE(std::ranges::equal(bytesOf(text.as(VT_ARRAY | VT_UI1).get()), bytes));
}

TEST(Variants, ConvertTheDefaultMemberOfAnObject) {
  Valued object;
  Valued outer;
  outer.value = Variant(Ref<IDispatch>(&object));
  object.value = Variant(u"17");
  EXPECT_EQ(toInt32(outer.value.get()), 17);
  EXPECT_EQ(object.askedWith, DISPATCH_PROPERTYGET);
  EXPECT_EQ(converted(Variant(Ref<IDispatch>(&outer)).get(), VT_DATE), "mismatch");
  object.value = Variant(Ref<IDispatch>(&object));
  EXPECT_EQ(converted(object.value.get(), VT_I4), "mismatch");
}

TEST(Variants, FollowReferencesAndCopyDeeply) {
  BSTR text = SysAllocString(u"17");
  const Variant reference = Variant::reference(&text);
  EXPECT_EQ(toInt32(reference.get()), 17);
  Variant copy;
  EXPECT_EQ(VariantCopyInd(copy.address(), &reference.get()), S_OK);
  text[0] = u'9';
  EXPECT_EQ(textOf(copy), "17");
  SysFreeString(text);

  const std::uint8_t bytes[] = {1, 2, 3};
  const Variant array = Variant::bytes(bytes);
  const Variant other = array;
  EXPECT_NE(array.get().parray, other.get().parray);
  EXPECT_EQ(bytesOf(other.get()).size(), 3u);
  LONG bound = 0;
  EXPECT_EQ(SafeArrayGetUBound(other.get().parray, 1, &bound), S_OK);
  EXPECT_EQ(bound, 2);
  EXPECT_EQ(errorNumber([] { bytesOf(Variant(u"text").get()); }), ErrorNumber::TypeMismatch);
}

}  // namespace
