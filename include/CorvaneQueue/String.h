// Counted 16-bit strings: an owner and a borrowed view of the platform's BSTR.
#pragma once

#include <CorvaneQueue/automation.h>

#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace CorvaneQueue {

// A string that somebody else owns for the time of a call. Null counts as empty.
class StringRef {
 public:
  StringRef() noexcept = default;
  explicit StringRef(BSTR text) noexcept : text_(text) {}
  BSTR bstr() const noexcept { return text_; }
  std::size_t size() const noexcept { return text_ == nullptr ? 0 : SysStringLen(text_); }
  bool empty() const noexcept { return size() == 0; }
  std::u16string_view view() const noexcept { return {text_ == nullptr ? u"" : unitsOf(text_), size()}; }
  operator std::u16string_view() const noexcept { return view(); }

 private:
  BSTR text_ = nullptr;
};

// Owns a BSTR. Any sequence of 16-bit units, lone surrogates and zeros included.
class String {
 public:
  String() noexcept = default;
  String(std::u16string_view text) : text_(allocate(text)) {}
  String(const char16_t* text) : String(std::u16string_view(text)) {}
  // A BSTR may hold zeros: borrow it as a StringRef or take it over with adopt().
  String(char16_t* text) = delete;
  String(const std::u16string& text) : String(std::u16string_view(text)) {}
  explicit String(StringRef text) : String(text.view()) {}
  String(const String& other) : String(other.view()) {}
  String(String&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  ~String() { SysFreeString(text_); }
  String& operator=(String other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }

  // Takes over a BSTR that the caller owns.
  static String adopt(BSTR text) noexcept {
    String result;
    result.text_ = text;
    return result;
  }
  // A string of `length` units to be filled through `units()`. Throws std::bad_alloc.
  static String ofLength(std::size_t length) {
    return adopt(checked(SysAllocStringLen(nullptr, checkedLength(length))));
  }
  // Gives the BSTR to the caller; an empty string is given as an allocated empty one.
  BSTR detach() {
    if (text_ == nullptr) return checked(SysAllocStringLen(platformText(u""), 0));
    return std::exchange(text_, nullptr);
  }

  BSTR bstr() const noexcept { return text_; }
  // To be filled; null when it is empty.
  char16_t* units() noexcept { return unitsOf(text_); }
  // For a call that replaces the string by reference.
  BSTR* address() noexcept { return &text_; }
  std::size_t size() const noexcept { return ref().size(); }
  bool empty() const noexcept { return size() == 0; }
  std::u16string_view view() const noexcept { return ref().view(); }
  StringRef ref() const noexcept { return StringRef(text_); }
  operator std::u16string_view() const noexcept { return view(); }
  operator StringRef() const noexcept { return ref(); }
  friend bool operator==(const String& left, const String& right) noexcept {
    return left.view() == right.view();
  }
  friend bool operator==(const String& left, std::u16string_view right) noexcept {
    return left.view() == right;
  }
  friend bool operator==(const String& left, const std::u16string& right) noexcept {
    return left.view() == right;
  }
  friend bool operator==(const String& left, const char16_t* right) noexcept { return left.view() == right; }

 private:
  static UINT checkedLength(std::size_t length) {
    if (length > std::numeric_limits<std::int32_t>::max() / sizeof(OLECHAR)) throw std::bad_alloc();
    return static_cast<UINT>(length);
  }
  static BSTR checked(BSTR text) {
    if (text == nullptr) throw std::bad_alloc();
    return text;
  }
  static BSTR allocate(std::u16string_view text) {
    return text.empty() ? nullptr
                        : checked(SysAllocStringLen(platformText(text.data()), checkedLength(text.size())));
  }
  BSTR text_ = nullptr;
};

// UTF-8 to UTF-16. Throws Error 5 that names the offset of the first byte that is not valid UTF-8.
CORVANE_API String fromUtf8(std::string_view text);
// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD.
CORVANE_API std::string toUtf8(std::u16string_view text);

}  // namespace CorvaneQueue
