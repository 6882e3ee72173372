// Automation errors: number, source and description.
#pragma once

#include <CorvaneQueue/Ref.h>
#include <CorvaneQueue/String.h>

#include <exception>
#include <string>

namespace CorvaneQueue {

// Numbers of the platform's own errors.
namespace ErrorNumber {
inline constexpr std::int32_t InvalidArgument = 5;
inline constexpr std::int32_t Overflow = 6;
inline constexpr std::int32_t OutOfMemory = 7;
inline constexpr std::int32_t BadIndex = 9;
inline constexpr std::int32_t TypeMismatch = 13;
inline constexpr std::int32_t ObjectNotSet = 91;
inline constexpr std::int32_t NoSuchMember = 438;
inline constexpr std::int32_t KeyAlreadyPresent = 457;
inline constexpr std::int32_t NotImplemented = E_NOTIMPL;
}  // namespace ErrorNumber

// The one exception type that crosses the library's C++ surface.
class Error : public std::exception {
 public:
  Error(std::int32_t number, String source, String description)
      : number_(number),
        source_(std::move(source)),
        description_(std::move(description)),
        what_(toUtf8(description_)) {}

  std::int32_t number() const noexcept { return number_; }
  const String& source() const noexcept { return source_; }
  const String& description() const noexcept { return description_; }
  // The description in UTF-8.
  const char* what() const noexcept override { return what_.c_str(); }

  // The exception being handled, as an Error: memory shortage is 7, any other foreign one E_FAIL.
  // Call only inside a catch block.
  CORVANE_API static Error current();
  // The error behind a failed result, with the calling thread's error information when there is any.
  CORVANE_API static Error fromResult(HRESULT result);
  // The same behind a failed member of an interface of `callee`. Error information is taken only when the
  // object says through ISupportErrorInfo that it reports errors of that interface: else what lies there is
  // about something else, and is let go.
  CORVANE_API static Error fromResult(HRESULT result, IUnknown* callee, REFIID iid);
  // The error of a failed result of a function that gives no error information.
  CORVANE_API static Error ofResult(HRESULT result);
  // The result that carries the number: 1 to 65535 as 0x800A0000 + n, any other as itself.
  CORVANE_API static HRESULT toResult(std::int32_t number) noexcept;
  // Publishes this error as the calling thread's error information and returns its result.
  CORVANE_API HRESULT publish() const noexcept;

 private:
  std::int32_t number_;
  String source_;
  String description_;
  std::string what_;
};

// Throws the error that a failed result stands for.
inline void throwIfFailed(HRESULT result) {
  if (FAILED(result)) throw Error::fromResult(result);
}

// The same for a function that gives no error information, so that none of an earlier call is taken.
inline void throwIfFailedPlain(HRESULT result) {
  if (FAILED(result)) throw Error::ofResult(result);
}

// The interface of the object. Throws 91 without an object, 13 when it does not answer.
template <class Interface>
Ref<Interface> query(IUnknown* object) {
  if (object == nullptr)
    throw Error(ErrorNumber::ObjectNotSet, {}, u"Object not set: a reference to an object is needed here.");
  auto found = tryQuery<Interface>(object);
  if (!found)
    throw Error(ErrorNumber::TypeMismatch, {},
                u"Type mismatch: the object is not of the class that is needed here.");
  return found;
}

}  // namespace CorvaneQueue
