#include "Form.h"
#include "StoredText.h"

#include <CorvaneQueue/members.h>

#include <algorithm>

namespace CorvaneQueue {

namespace {

constexpr std::size_t noParameter = static_cast<std::size_t>(-1);

bool sameName(std::u16string_view left, std::u16string_view right) {
  return left == right || (left.size() == right.size() && foldCase(left) == foldCase(right));
}

std::size_t parameterNamed(std::span<const Member> members, DISPID id, std::u16string_view name) {
  for (const Member& member : members)
    if (member.id == id)
      for (std::size_t i = 0; i < member.parameterCount; ++i)
        if (member.parameterNames[i] != nullptr && sameName(member.parameterNames[i], name)) return i;
  return noParameter;
}

bool answers(const Member& member, WORD flags) {
  switch (member.kind) {
    case MemberKind::Method: return (flags & DISPATCH_METHOD) != 0;
    case MemberKind::Get: return (flags & DISPATCH_PROPERTYGET) != 0;
    case MemberKind::Let: return (flags & DISPATCH_PROPERTYPUT) != 0;
    case MemberKind::Set: return (flags & DISPATCH_PROPERTYPUTREF) != 0;
  }
  return false;
}

// An assignment may mean a Let or a Set: the other one serves when the wanted one is not there.
const Member* memberFor(std::span<const Member> members, DISPID id, WORD flags, bool& known) {
  constexpr WORD assignments = DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF;
  for (const WORD accepted :
       {flags, static_cast<WORD>((flags & assignments) != 0 ? flags | assignments : flags)})
    for (const Member& member : members) {
      if (member.id != id) continue;
      known = true;
      if (answers(member, accepted)) return &member;
    }
  return nullptr;
}

// Puts the arguments into parameter order; the platform passes them last first, named ones ahead.
HRESULT arrange(const Member& member, const DISPPARAMS& given,
                std::array<VARIANT*, maximumParameters>& arguments, UINT* argumentInError) {
  if (given.cArgs > member.parameterCount) return DISP_E_BADPARAMCOUNT;
  const UINT named = given.cNamedArgs;
  if (named > given.cArgs) return DISP_E_BADPARAMCOUNT;
  if ((given.cArgs > 0 && given.rgvarg == nullptr) || (named > 0 && given.rgdispidNamedArgs == nullptr))
    return E_INVALIDARG;
  for (UINT i = 0; i < named; ++i) {
    const DISPID position = given.rgdispidNamedArgs[i];
    const bool isNewValue =
        position == DISPID_PROPERTYPUT && (member.kind == MemberKind::Let || member.kind == MemberKind::Set);
    const auto index =
        isNewValue ? static_cast<std::size_t>(member.parameterCount - 1) : static_cast<std::size_t>(position);
    if ((!isNewValue && position < 0) || index >= member.parameterCount || arguments[index] != nullptr) {
      if (argumentInError != nullptr) *argumentInError = i;
      return DISP_E_PARAMNOTFOUND;
    }
    arguments[index] = &given.rgvarg[i];
  }
  for (UINT i = named; i < given.cArgs; ++i) {
    const std::size_t index = given.cArgs - 1 - i;
    if (arguments[index] != nullptr) return DISP_E_BADPARAMCOUNT;
    arguments[index] = &given.rgvarg[i];
  }
  for (std::size_t i = 0; i < member.parameterCount; ++i) {
    if (arguments[i] != nullptr && arguments[i]->vt == VT_ERROR &&
        arguments[i]->scode == DISP_E_PARAMNOTFOUND)
      arguments[i] = nullptr;
    if (arguments[i] != nullptr || i + member.optionalCount >= member.parameterCount) continue;
    return given.cArgs + member.optionalCount < member.parameterCount ? DISP_E_BADPARAMCOUNT
                                                                      : DISP_E_PARAMNOTOPTIONAL;
  }
  return S_OK;
}

// The property that gives a collection takes no arguments: in `Messages(1)` they are for the collection's
// default member.
bool isForDefaultMember(const Member& member, const DISPPARAMS& given) {
  return member.kind == MemberKind::Get && member.parameterCount == 0 &&
         member.resultType.type == VT_DISPATCH && given.cArgs > 0;
}

HRESULT asException(HRESULT result, EXCEPINFO* exception) {
  const Error error = Error::fromResult(result);
  if (exception == nullptr) return DISP_E_EXCEPTION;
  *exception = EXCEPINFO{};
  exception->scode = Error::toResult(error.number());
  exception->bstrSource = String(error.source()).detach();
  exception->bstrDescription = String(error.description()).detach();
  return DISP_E_EXCEPTION;
}

}  // namespace

HRESULT lateBoundNames(std::span<const Member> members, LPOLESTR* names, UINT count, DISPID* ids) noexcept {
  if (names == nullptr || ids == nullptr) return E_INVALIDARG;
  try {
    HRESULT result = S_OK;
    for (UINT i = 0; i < count; ++i) {
      ids[i] = DISPID_UNKNOWN;
      if (i == 0) {
        const auto found = std::ranges::find_if(
            members, [&](const Member& member) { return sameName(member.name, unitsOf(names[0])); });
        if (found != members.end()) ids[0] = found->id;
      } else if (ids[0] != DISPID_UNKNOWN) {
        const std::size_t position = parameterNamed(members, ids[0], unitsOf(names[i]));
        if (position != noParameter) ids[i] = static_cast<DISPID>(position);
      }
      if (ids[i] == DISPID_UNKNOWN) result = DISP_E_UNKNOWNNAME;
    }
    return result;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

HRESULT lateBoundCall(std::span<const Member> members, void* object, DISPID id, WORD flags,
                      DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                      UINT* argumentInError) noexcept {
  if (parameters == nullptr) return E_INVALIDARG;
  try {
    if (result != nullptr) VariantInit(result);
    bool known = false;
    const Member* member = memberFor(members, id, flags, known);
    if (member == nullptr) return DISP_E_MEMBERNOTFOUND;
    if (isForDefaultMember(*member, *parameters)) {
      DISPPARAMS none{};
      Variant holder;
      const HRESULT found = lateBoundCall(members, object, id, DISPATCH_PROPERTYGET, &none, holder.address(),
                                          exception, nullptr);
      if (FAILED(found)) return found;
      IDispatch* const held = holder.get().pdispVal;
      if (held == nullptr) return DISP_E_BADPARAMCOUNT;
      return held->Invoke(DISPID_VALUE, IID_NULL, 0, flags, parameters, result, exception, argumentInError);
    }
    std::array<VARIANT*, maximumParameters> arguments{};
    HRESULT status = arrange(*member, *parameters, arguments, argumentInError);
    if (FAILED(status)) return status;
    UINT position = 0;
    SetErrorInfo(0, nullptr);  // what lies there afterwards is about this call
    status = member->invoke(object, arguments.data(), result, &position);
    if (SUCCEEDED(status)) return status;
    if (position == member->parameterCount) return asException(status, exception);
    if (argumentInError != nullptr) {  // a conversion failed: the index into the caller's array
      for (UINT i = 0; i < parameters->cArgs; ++i)
        if (&parameters->rgvarg[i] == arguments[position]) *argumentInError = i;
    }
    return status;
  } catch (...) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace CorvaneQueue
