// Back-end interface of the services of one store.
#pragma once

#include "IQueues.h"

namespace CorvaneQueue {

struct IUtility : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE raw_Initialize(_ProcessTrace* ProcessTrace) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_UsesPublicQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_UsesPublicQueues(VARIANT_BOOL value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_IDToString(VARIANT ID, BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_ParseQueuePathName(BSTR QueueName, BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_FormatQueuePathName(BSTR QueueName, BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_CreateQueue(BSTR QueueName) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SupportsPublicQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_SupportsPrivateQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_GetBody(IDispatch* objMessage, VARIANT* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_QueueStoreType(BSTR* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE put_QueueStoreType(BSTR value) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE raw_GetQueues(IQueues** result) noexcept = 0;
};

inline constexpr std::array iUtilityMembers{
    method<&IUtility::raw_Initialize>(1, u"Initialize", "", {u"ProcessTrace"}),
    get<&IUtility::get_UsesPublicQueues>(2, u"UsesPublicQueues"),
    let<&IUtility::put_UsesPublicQueues>(2, u"UsesPublicQueues"),
    function<&IUtility::raw_IDToString>(3, u"IDToString", "", {u"ID"}),
    function<&IUtility::raw_ParseQueuePathName>(4, u"ParseQueuePathName", "", {u"QueueName"}),
    function<&IUtility::raw_FormatQueuePathName>(5, u"FormatQueuePathName", "", {u"QueueName"}),
    method<&IUtility::raw_CreateQueue>(6, u"CreateQueue", "", {u"QueueName"}),
    get<&IUtility::get_SupportsPublicQueues>(7, u"SupportsPublicQueues"),
    get<&IUtility::get_SupportsPrivateQueues>(8, u"SupportsPrivateQueues"),
    function<&IUtility::raw_GetBody>(9, u"GetBody", "", {u"objMessage"}),
    get<&IUtility::get_QueueStoreType>(10, u"QueueStoreType"),
    let<&IUtility::put_QueueStoreType>(10, u"QueueStoreType"),
    function<&IUtility::raw_GetQueues>(11, u"GetQueues"),
};

template <>
struct InterfaceTraits<IUtility> {
  static constexpr IID iid = {0xad8ca8e6, 0xae20, 0x4612, {0x85, 0x19, 0x5f, 0x9e, 0xd7, 0xd4, 0x1d, 0x2d}};
  static constexpr const char16_t* name = u"IUtility";
  static constexpr std::span<const Member> members = iUtilityMembers;
};

// The members of IUtility written once for every class that presents it: each vtable member calls the
// form IUtility_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class IUtilityForm : public DispatchForm<IUtility> {
 public:
  HRESULT STDMETHODCALLTYPE raw_Initialize(_ProcessTrace* ProcessTrace) noexcept final {
    return answer([&] { return self().IUtility_Initialize(Ref<_ProcessTrace>(ProcessTrace)); });
  }
  HRESULT STDMETHODCALLTYPE get_UsesPublicQueues(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().IUtility_UsesPublicQueues_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_UsesPublicQueues(VARIANT_BOOL value) noexcept final {
    return answer([&] { return self().IUtility_UsesPublicQueues_Let(value != VARIANT_FALSE); });
  }
  HRESULT STDMETHODCALLTYPE raw_IDToString(VARIANT ID, BSTR* result) noexcept final {
    return answer(result, [&] { return self().IUtility_IDToString(ID); });
  }
  HRESULT STDMETHODCALLTYPE raw_ParseQueuePathName(BSTR QueueName, BSTR* result) noexcept final {
    return answer(result, [&] { return self().IUtility_ParseQueuePathName(StringRef(QueueName)); });
  }
  HRESULT STDMETHODCALLTYPE raw_FormatQueuePathName(BSTR QueueName, BSTR* result) noexcept final {
    return answer(result, [&] { return self().IUtility_FormatQueuePathName(StringRef(QueueName)); });
  }
  HRESULT STDMETHODCALLTYPE raw_CreateQueue(BSTR QueueName) noexcept final {
    return answer([&] { return self().IUtility_CreateQueue(StringRef(QueueName)); });
  }
  HRESULT STDMETHODCALLTYPE get_SupportsPublicQueues(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().IUtility_SupportsPublicQueues_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_SupportsPrivateQueues(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().IUtility_SupportsPrivateQueues_Get(); });
  }
  HRESULT STDMETHODCALLTYPE raw_GetBody(IDispatch* objMessage, VARIANT* result) noexcept final {
    return answer(result, [&] { return self().IUtility_GetBody(Ref<IDispatch>(objMessage)); });
  }
  HRESULT STDMETHODCALLTYPE get_QueueStoreType(BSTR* result) noexcept final {
    return answer(result, [&] { return self().IUtility_QueueStoreType_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_QueueStoreType(BSTR value) noexcept final {
    return answer([&] { return self().IUtility_QueueStoreType_Let(StringRef(value)); });
  }
  HRESULT STDMETHODCALLTYPE raw_GetQueues(IQueues** result) noexcept final {
    return answer(result, [&] { return self().IUtility_GetQueues(); });
  }

  auto IUtility_Initialize(const Ref<_ProcessTrace>& ProcessTrace) {
    return self().reportedForm(u"IUtility_Initialize", [&] { return self().Initialize(ProcessTrace); });
  }
  auto IUtility_UsesPublicQueues_Get() {
    return self().reportedForm(u"IUtility_UsesPublicQueues Get", [&] { return self().UsesPublicQueues(); });
  }
  auto IUtility_UsesPublicQueues_Let(bool value) {
    return self().reportedForm(u"IUtility_UsesPublicQueues Let",
                               [&] { return self().UsesPublicQueues_Let(value); });
  }
  auto IUtility_IDToString(const VARIANT& ID) {
    return self().reportedForm(u"IUtility_IDToString", [&] { return self().IDToString(ID); });
  }
  auto IUtility_ParseQueuePathName(StringRef QueueName) {
    return self().reportedForm(u"IUtility_ParseQueuePathName",
                               [&] { return self().ParseQueuePathName(QueueName); });
  }
  auto IUtility_FormatQueuePathName(StringRef QueueName) {
    return self().reportedForm(u"IUtility_FormatQueuePathName",
                               [&] { return self().FormatQueuePathName(QueueName); });
  }
  auto IUtility_CreateQueue(StringRef QueueName) {
    return self().reportedForm(u"IUtility_CreateQueue", [&] { return self().CreateQueue(QueueName); });
  }
  auto IUtility_SupportsPublicQueues_Get() {
    return self().reportedForm(u"IUtility_SupportsPublicQueues Get",
                               [&] { return self().SupportsPublicQueues(); });
  }
  auto IUtility_SupportsPrivateQueues_Get() {
    return self().reportedForm(u"IUtility_SupportsPrivateQueues Get",
                               [&] { return self().SupportsPrivateQueues(); });
  }
  auto IUtility_GetBody(const Ref<IDispatch>& objMessage) {
    return self().reportedForm(u"IUtility_GetBody", [&] { return self().GetBody(objMessage); });
  }
  auto IUtility_QueueStoreType_Get() {
    return self().reportedForm(u"IUtility_QueueStoreType Get", [&] { return self().QueueStoreType(); });
  }
  auto IUtility_QueueStoreType_Let(StringRef value) {
    return self().reportedForm(u"IUtility_QueueStoreType Let",
                               [&] { return self().QueueStoreType_Let(value); });
  }
  auto IUtility_GetQueues() {
    return self().reportedForm(u"IUtility_GetQueues", [&] { return self().GetQueues(); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
