// An owner of the platform's VARIANT.
#pragma once

#include <CorvaneQueue/Error.h>

#include <cstdint>
#include <span>

namespace CorvaneQueue {

// A date-time: days since 1899-12-30, the time of day in the fraction.
struct Date {
  DATE value = 0;
  friend bool operator==(const Date&, const Date&) noexcept = default;
};

class Variant {
 public:
  Variant() noexcept { VariantInit(&value_); }
  Variant(std::int32_t number) noexcept : Variant() {
    value_.vt = VT_I4;
    value_.lVal = number;
  }
  Variant(std::int64_t number) noexcept : Variant() {
    value_.vt = VT_I8;
    value_.llVal = number;
  }
  Variant(std::int16_t number) noexcept : Variant() {
    value_.vt = VT_I2;
    value_.iVal = number;
  }
  Variant(double number) noexcept : Variant() {
    value_.vt = VT_R8;
    value_.dblVal = number;
  }
  Variant(bool truth) noexcept : Variant() {
    value_.vt = VT_BOOL;
    value_.boolVal = truth ? VARIANT_TRUE : VARIANT_FALSE;
  }
  Variant(Date date) noexcept : Variant() {
    value_.vt = VT_DATE;
    value_.date = date.value;
  }
  Variant(String text) : Variant() {
    value_.bstrVal = text.detach();
    value_.vt = VT_BSTR;
  }
  Variant(const char16_t* text) : Variant(String(text)) {}
  Variant(Ref<IDispatch> object) noexcept : Variant() {
    value_.vt = VT_DISPATCH;
    value_.pdispVal = object.detach();
  }
  explicit Variant(const VARIANT& other) : Variant() { throwIfFailedPlain(VariantCopy(&value_, &other)); }
  Variant(const Variant& other) : Variant(other.value_) {}
  Variant(Variant&& other) noexcept : value_(other.value_) { VariantInit(&other.value_); }
  ~Variant() {
    if (value_.vt != VT_EMPTY) VariantClear(&value_);
  }
  Variant& operator=(Variant other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }

  // A variant that refers to a string which must outlive it.
  static Variant reference(BSTR* text) noexcept {
    Variant result;
    result.value_.vt = VT_BSTR | VT_BYREF;
    result.value_.pbstrVal = text;
    return result;
  }
  // The platform's mark of an omitted optional argument.
  static Variant omitted() noexcept {
    Variant result;
    result.value_.vt = VT_ERROR;
    result.value_.scode = DISP_E_PARAMNOTFOUND;
    return result;
  }
  // A byte array, lower bound 0.
  static Variant bytes(std::span<const std::uint8_t> content) {
    Variant result;
    SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(content.size()));
    if (array == nullptr) throw std::bad_alloc();
    if (!content.empty()) std::memcpy(array->pvData, content.data(), content.size());
    result.value_.vt = VT_ARRAY | VT_UI1;
    result.value_.parray = array;
    return result;
  }

  VARTYPE type() const noexcept { return value_.vt; }
  bool isOmitted() const noexcept { return value_.vt == VT_ERROR && value_.scode == DISP_E_PARAMNOTFOUND; }
  const VARIANT& get() const noexcept { return value_; }
  VARIANT* address() noexcept { return &value_; }
  // Takes over what the variant holds.
  static Variant adopt(const VARIANT& held) noexcept {
    Variant variant;
    variant.value_ = held;
    return variant;
  }
  // Gives the content to the caller and leaves this one empty.
  VARIANT detach() noexcept {
    VARIANT result = value_;
    VariantInit(&value_);
    return result;
  }

  // The value converted to another type by the platform's rules. Throws 13, 6 or 5.
  Variant as(VARTYPE type) const { return changed(value_, type); }
  static Variant changed(const VARIANT& value, VARTYPE type) {
    Variant result;
    throwIfFailedPlain(changeType(&result.value_, &value, VARIANT_ALPHABOOL, type));
    return result;
  }

 private:
  VARIANT value_;
};

// The value of a variant, references followed, converted by the platform's rules.
inline String toString(const VARIANT& value) {
  Variant text = Variant::changed(value, VT_BSTR);
  return String::adopt(text.detach().bstrVal);
}
// The same without a copy of a string that the variant gives up.
inline String toString(Variant&& value) {
  if (value.type() == VT_BSTR) return String::adopt(value.detach().bstrVal);
  return toString(value.get());
}
// The text of a variant for as long as that lives: not copied when it is, or refers to, a string.
class BorrowedText {
 public:
  explicit BorrowedText(const VARIANT& value) {
    if (value.vt == VT_BSTR)
      text_ = StringRef(value.bstrVal);
    else if (value.vt == (VT_BSTR | VT_BYREF))
      text_ = StringRef(*value.pbstrVal);
    else
      text_ = owned_ = toString(value);
  }
  BorrowedText(const BorrowedText&) = delete;
  BorrowedText& operator=(const BorrowedText&) = delete;
  std::u16string_view view() const noexcept { return text_.view(); }

 private:
  String owned_;
  StringRef text_;
};
inline std::int32_t toInt32(const VARIANT& value) { return Variant::changed(value, VT_I4).get().lVal; }
inline std::int64_t toInt64(const VARIANT& value) {
  if (value.vt == VT_I8) return value.llVal;
  return Variant::changed(value, VT_I8).get().llVal;
}
inline bool toBoolean(const VARIANT& value) {
  return Variant::changed(value, VT_BOOL).get().boolVal != VARIANT_FALSE;
}
inline Date toDate(const VARIANT& value) {
  if (value.vt == VT_DATE) return {value.date};
  return {Variant::changed(value, VT_DATE).get().date};
}
// The bytes of a byte array that the variant holds or refers to. Throws 13 for anything else.
CORVANE_API std::span<const std::uint8_t> bytesOf(const VARIANT& value);

}  // namespace CorvaneQueue
