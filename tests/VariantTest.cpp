#include "Expect.h"
#include "StoredText.h"

#include <CorvaneQueue/Variant.h>
#include <cstddef>

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

TEST(Variants, ConvertByThePlatformsRules) {
  // What it becomes, or the error number as "!13".
  const auto converted = [](const Variant& from, VARTYPE to) {
    std::string found;
    const auto error = errorOf([&] { found = textOf(from.as(to)); });
    return error ? "!" + std::to_string(error->number()) : found;
  };
  const std::pair<VARTYPE, std::vector<std::string>> texts[] = {
      {VT_I4,
       {" 42  -> 42", "(17) -> -17", "$5 -> 5", "5- -> -5", "2.5 -> 2", "3.5 -> 4", "1e3 -> 1000",
        "&H10 -> 16", "&HFFFFFFFF -> -1", "&O17 -> 15", " -> !13", "12x -> !13"}},
      {VT_R8, {"-1,234.5 -> -1234.5", "1.2.3 -> !13"}},
      {VT_I8,
       {"0000000000000000042 -> 42", "9223372036854775807 -> 9223372036854775807",
        "9223372036854775808 -> !6"}},
      {VT_BOOL, {"true -> True", "#FALSE# -> False", "0 -> False", "-3 -> True", "yes -> !13"}},
      {VT_DATE,
       {"11/22/2026 9:30:15 PM -> 11/22/2026 9:30:15 PM", "2026-11-22 21:30:15 -> 11/22/2026 9:30:15 PM",
        "22 Nov 2026 -> 11/22/2026", "2/29/2024 -> 2/29/2024", "2/29/2023 -> !13", "13:00 -> 1:00:00 PM",
        "25:00 -> !13"}},
  };
  for (const auto& [type, cases] : texts)
    for (const std::string& text : cases) {
      const auto arrow = text.find(" -> ");
      EXPECT_EQ(converted(fromUtf8(text.substr(0, arrow)), type), text.substr(arrow + 4)) << text;
    }
  EXPECT_EQ(converted(-2.5, VT_I4), "-2");
  EXPECT_EQ(converted(std::int32_t{40000}, VT_I2), "!6");
  EXPECT_EQ(converted(1e300, VT_I8), "!6");
  EXPECT_EQ(converted(Variant(), VT_I4), "0");
  EXPECT_EQ(converted(Variant(), VT_BSTR), "");
  EXPECT_EQ(converted(true, VT_I4), "-1");
  EXPECT_EQ(converted(std::int16_t{-1}, VT_BOOL), "True");
  EXPECT_EQ(converted(false, VT_BSTR), "False");
  EXPECT_EQ(converted(0.1, VT_BSTR), "0.1");
  EXPECT_EQ(converted(1e21, VT_BSTR), "1E+21");
  EXPECT_EQ(converted(std::int32_t{1}, VT_DATE), "12/31/1899");
  EXPECT_EQ(converted(Date{-1.25}, VT_BSTR), "12/29/1899 6:00:00 AM");
  EXPECT_EQ(converted(3e6, VT_DATE), "!6");
  EXPECT_EQ(converted(Variant::bytes({}), VT_I4), "!13");
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
