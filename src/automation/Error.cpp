#include "ErrorInformation.h"
#include "Object.h"

#include <CorvaneQueue/Error.h>

namespace CorvaneQueue {

namespace {

constexpr std::uint32_t numberBase = 0x800A0000u;

struct Standard {
  HRESULT result;
  std::int32_t number;
  const char16_t* description;
};
constexpr Standard standards[] = {
    {E_INVALIDARG, ErrorNumber::InvalidArgument, u"Invalid argument."},
    {E_POINTER, ErrorNumber::ObjectNotSet, u"Object not set: a null was given where a reference is needed."},
    {DISP_E_OVERFLOW, ErrorNumber::Overflow, u"Overflow: the number is out of range."},
    {E_OUTOFMEMORY, ErrorNumber::OutOfMemory, u"Out of memory."},
    {DISP_E_BADINDEX, ErrorNumber::BadIndex, u"The position is out of range."},
    {DISP_E_TYPEMISMATCH, ErrorNumber::TypeMismatch, u"Type mismatch: the value cannot be converted."},
    {DISP_E_BADVARTYPE, ErrorNumber::TypeMismatch, u"Type mismatch: the value cannot be converted."},
    {E_NOINTERFACE, ErrorNumber::TypeMismatch, u"Type mismatch: the object is not of the class needed."},
    {DISP_E_MEMBERNOTFOUND, ErrorNumber::NoSuchMember, u"The object has no such member."},
    {DISP_E_UNKNOWNNAME, ErrorNumber::NoSuchMember, u"The object has no such member."},
    {RPC_E_WRONG_THREAD, RPC_E_WRONG_THREAD,
     u"This object belongs to the thread that created it; create one in this thread."},
};

// The words of somebody else, in whatever encoding they come.
String shown(std::string_view what) {
  try {
    return fromUtf8(what);
  } catch (const Error&) {
    std::u16string widened;
    for (const char c : what) widened += static_cast<char16_t>(static_cast<unsigned char>(c));
    return widened;
  }
}

}  // namespace

Error Error::current() {
  try {
    throw;
  } catch (const Error& error) {
    return error;
  } catch (const std::bad_alloc&) {
    return {ErrorNumber::OutOfMemory, {}, u"Out of memory."};
  } catch (const std::exception& error) {
    return {E_FAIL, {}, shown(error.what())};
  } catch (...) {
    return {E_FAIL, {}, u"An unknown failure."};
  }
}

HRESULT Error::toResult(std::int32_t number) noexcept {
  if (number >= 1 && number <= 65535)
    return static_cast<HRESULT>(numberBase + static_cast<std::uint32_t>(number));
  // A number that is no failure must not arrive as success.
  return FAILED(number) ? number : E_FAIL;
}

namespace {
Error errorFor(HRESULT result, String source, String description) {
  const auto bits = static_cast<std::uint32_t>(result);
  std::int32_t number = result;
  if (bits > numberBase && bits <= numberBase + 65535) {
    number = static_cast<std::int32_t>(bits - numberBase);
  } else {
    for (const auto& standard : standards) {
      if (standard.result != result) continue;
      number = standard.number;
      if (description.empty()) description = standard.description;
    }
  }
  if (description.empty()) description = u"The call failed without a description.";
  return {number, std::move(source), std::move(description)};
}
}  // namespace

Error Error::ofResult(HRESULT result) { return errorFor(result, {}, {}); }

Error Error::fromResult(HRESULT result, IUnknown* callee, REFIID iid) {
  const auto reporting = tryQuery<ISupportErrorInfo>(callee);
  if (!reporting || reporting->InterfaceSupportsErrorInfo(iid) != S_OK) SetErrorInfo(0, nullptr);
  return fromResult(result);
}

Error Error::fromResult(HRESULT result) {
  ErrorTexts texts = takeErrorTexts();
  return errorFor(result, std::move(texts.source), std::move(texts.description));
}

HRESULT Error::publish() const noexcept {
  try {
    publishErrorTexts({source_, description_});
  } catch (...) {  // the number still arrives
    SetErrorInfo(0, nullptr);
  }
  return toResult(number_);
}

namespace detail {

HRESULT publishCurrent() noexcept {
  try {
    return Error::current().publish();
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

HRESULT publishNullPointer() noexcept {
  return answer([] {
    throw Error(ErrorNumber::ObjectNotSet, {}, u"Object not set: no place was given for the result.");
  });
}

HRESULT publishWrongThread() noexcept {
  return answer([] { throw Error::ofResult(RPC_E_WRONG_THREAD); });
}

std::uint64_t threadNumber() noexcept {
  static std::atomic<std::uint64_t> last{0};
  static thread_local constinit std::uint64_t number = 0;
  if (number == 0) number = ++last;
  return number;
}

}  // namespace detail

std::atomic<long>& liveObjects() noexcept {
  static std::atomic<long> count{0};
  return count;
}

}  // namespace CorvaneQueue
