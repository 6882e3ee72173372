// The flat interface: late binding in the clothes of C.
#include <CorvaneQueue/c.h>
#include <CorvaneQueue/CorvaneQueue.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

using namespace CorvaneQueue;

struct corvane_object {
  Ref<IDispatch> dispatch;
  Subscription subscription;  // of a listener
};

namespace {

constexpr double dayOf1970 = 25569;
constexpr double secondsOfDay = 86400;

char* copyOf(std::string_view text) {
  char* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) throw std::bad_alloc();
  std::ranges::copy(text, copy);
  copy[text.size()] = '\0';
  return copy;
}

void fill(corvane_error* error) noexcept {
  if (error == nullptr) return;
  corvane_error_clear(error);
  try {
    const Error current = Error::current();
    error->number = current.number();
    error->source = copyOf(toUtf8(current.source()));
    error->description = copyOf(current.what());
  } catch (...) {
    error->number = ErrorNumber::OutOfMemory;
  }
}

template <class Work>
auto attempt(corvane_error* error, Work work) noexcept -> decltype(work()) {
  corvane_error_clear(error);
  try {
    return work();
  } catch (...) {
    fill(error);
    return {};
  }
}

Variant variantOf(const corvane_value& value) {
  switch (value.kind) {
    case CORVANE_EMPTY: return {};
    case CORVANE_TRUTH: return Variant(value.number != 0);
    case CORVANE_NUMBER:
      return value.number == static_cast<std::int32_t>(value.number)
                 ? Variant(static_cast<std::int32_t>(value.number))
                 : Variant(value.number);
    case CORVANE_REAL: return Variant(value.real);
    case CORVANE_TIME: return Variant(Date{value.real / secondsOfDay + dayOf1970});
    case CORVANE_TEXT:
      if (value.text == nullptr && value.size > 0)
        throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.C", u"A text is missing: it is NULL.");
      return Variant(fromUtf8({value.text == nullptr ? "" : value.text, value.size}));
    case CORVANE_OBJECT: return Variant(value.object == nullptr ? Ref<IDispatch>() : value.object->dispatch);
  }
  throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.C", u"A value has a kind that there is not.");
}

corvane_value valueOf(const VARIANT& given) {
  Variant variant;
  throwIfFailedPlain(VariantCopyInd(variant.address(), &given));
  const VARIANT& value = variant.get();
  corvane_value result{};
  switch (value.vt) {
    case VT_EMPTY:
    case VT_NULL: break;
    case VT_BOOL: result.kind = CORVANE_TRUTH, result.number = value.boolVal != VARIANT_FALSE; break;
    case VT_R4:
    case VT_R8: result.kind = CORVANE_REAL, result.real = variant.as(VT_R8).get().dblVal; break;
    case VT_DATE:
      result.kind = CORVANE_TIME;
      result.real = std::round((toDate(value).value - dayOf1970) * secondsOfDay);
      break;
    case VT_DISPATCH:
    case VT_UNKNOWN:
      result.kind = CORVANE_OBJECT;
      if (value.punkVal != nullptr) result.object = new corvane_object{query<IDispatch>(value.punkVal), {}};
      break;
    case VT_I2:
    case VT_I4:
    case VT_I8: result.kind = CORVANE_NUMBER, result.number = toInt64(value); break;
    default: {
      const std::string text = toUtf8(toString(value));
      result.kind = CORVANE_TEXT;
      result.text = copyOf(text);
      result.size = text.size();
    }
  }
  return result;
}

// A name that is given must be there.
std::string_view named(const char* name) {
  if (name == nullptr)
    throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.C", u"A name is missing: it is NULL.");
  return name;
}

// It stays while it is called, also when its handle is released meanwhile.
Ref<IDispatch> dispatchOf(corvane_object* object) {
  if (object == nullptr || !object->dispatch)
    throw Error(ErrorNumber::ObjectNotSet, u"CorvaneQueue.C", u"There is no object to call.");
  return object->dispatch;
}

Variant invoked(IDispatch& object, WORD flags, std::u16string member, std::vector<Variant>& arguments) {
  LPOLESTR names[] = {platformText(member.data())};
  DISPID identifier = 0;
  if (FAILED(object.GetIDsOfNames(GUID{}, names, 1, 0, &identifier)))
    throw Error(ErrorNumber::NoSuchMember, u"CorvaneQueue.C",
                u"The object has no member \"" + member + u"\".");
  std::vector<VARIANT> backward;  // as calls take them
  for (auto each = arguments.rbegin(); each != arguments.rend(); ++each) backward.push_back(each->get());
  DISPID put = DISPID_PROPERTYPUT;
  const bool isPut = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
  DISPPARAMS parameters{backward.data(), isPut ? &put : nullptr, static_cast<UINT>(backward.size()),
                        isPut ? 1U : 0U};
  Variant result;
  EXCEPINFO exception{};
  UINT wrong = 0;
  const HRESULT code = object.Invoke(identifier, GUID{}, 0, flags, &parameters,
                                     isPut ? nullptr : result.address(), &exception, &wrong);
  if (code == DISP_E_EXCEPTION)
    throw Error(Error::ofResult(exception.scode).number(), String::adopt(exception.bstrSource),
                String::adopt(exception.bstrDescription));
  if (code == DISP_E_BADPARAMCOUNT || code == DISP_E_PARAMNOTOPTIONAL)
    throw Error(code, u"CorvaneQueue.C",
                fromUtf8("\"" + toUtf8(member) + "\" does not take " + std::to_string(arguments.size()) +
                         " arguments: \"corvaneq describe\" prints what it takes."));
  throwIfFailedPlain(code);
  return result;
}

}  // namespace

const char* corvaneVersion() { return CORVANE_VERSION; }

void corvane_error_clear(corvane_error* error) {
  if (error == nullptr) return;
  std::free(error->source);
  std::free(error->description);
  *error = {};
}

void corvane_value_clear(corvane_value* value) {
  if (value == nullptr) return;
  if (value->kind == CORVANE_TEXT) std::free(const_cast<char*>(value->text));
  if (value->kind == CORVANE_OBJECT) corvane_release(value->object);
  *value = {};
}

corvane_object* corvane_create(const char* name, corvane_error* error) {
  return attempt(error, [&]() -> corvane_object* {
    return new corvane_object{create<IDispatch>(std::u16string(fromUtf8(named(name)).view()).c_str()), {}};
  });
}

void corvane_release(corvane_object* object) { delete object; }

bool corvane_invoke(corvane_object* object, corvane_use use, const char* member,
                    const corvane_value* arguments, size_t count, corvane_value* result,
                    corvane_error* error) {
  if (result != nullptr) *result = {};
  return attempt(error, [&] {
    constexpr WORD flags[] = {DISPATCH_METHOD, DISPATCH_PROPERTYGET, DISPATCH_PROPERTYPUT,
                              DISPATCH_PROPERTYPUTREF};
    if (use < CORVANE_USE_CALL || use > CORVANE_USE_SET)
      throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.C", u"A member is called, got, put or set.");
    const Ref<IDispatch> called = dispatchOf(object);
    if (arguments == nullptr && count > 0)
      throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.C",
                  u"The arguments are missing: they are NULL.");
    std::vector<Variant> given;
    for (size_t i = 0; i < count; ++i) given.push_back(variantOf(arguments[i]));
    const Variant returned =
        invoked(*called.get(), flags[use], std::u16string(fromUtf8(named(member)).view()), given);
    if (result != nullptr) *result = valueOf(returned.get());
    return true;
  });
}

corvane_object* corvane_listen(corvane_object* source, const char* event, corvane_handler handler, void* user,
                               corvane_error* error) {
  return attempt(error, [&]() -> corvane_object* {
    const std::string_view name = named(event);
    if (handler == nullptr)
      throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.C", u"A handler is missing: it is NULL.");
    const bool isArrival = name == "evtArrived";
    if (!isArrival && name != "evtProgress")
      throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.C",
                  u"There is no event \"" + std::u16string(fromUtf8(name).view()) +
                      u"\"; there are evtArrived and evtProgress.");
    const EventKind kind =
        isArrival ? arrivalKind<__Queue> : EventKind{iidOf<__Operations>, evtProgress.id, 2};
    return new corvane_object{
        {}, {dispatchOf(source).get(), kind, [=](std::span<VARIANT> given) {
               struct Values {
                 std::vector<corvane_value> all;
                 ~Values() {
                   std::ranges::for_each(all, [](auto& each) { corvane_value_clear(&each); });
                 }
               } values;
               for (auto each = given.rbegin(); each != given.rend(); ++each)
                 values.all.push_back(valueOf(*each));
               constexpr std::int32_t handlerFailed = 100;
               if (!handler(user, values.all.data(), values.all.size()))
                 throw Error(handlerFailed, u"CorvaneQueue.C", u"The handler of the event has failed.");
             }}};
  });
}

bool corvane_pump(int32_t milliseconds, corvane_error* error) {
  return attempt(error, [&] {
    Apartment::current().pump(std::chrono::milliseconds(milliseconds));
    return true;
  });
}
