#pragma once

#include "Form.h"

#include <CorvaneQueue/Utility.h>

namespace CorvaneQueue {

// The members of _Utility written once for every class that presents it: each vtable member calls the
// form Utility_X, which calls the class's own member X under the class's error policy. A class
// overrides a form by defining the member of that name.
template <class Self>
class UtilityForm : public DispatchForm<_Utility> {
 public:
  HRESULT STDMETHODCALLTYPE raw_Initialize(_ProcessTrace* ProcessTrace) noexcept final {
    return answer([&] { return self().Utility_Initialize(Ref<_ProcessTrace>(ProcessTrace)); });
  }
  HRESULT STDMETHODCALLTYPE get_UsesPublicQueues(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().Utility_UsesPublicQueues_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_UsesPublicQueues(VARIANT_BOOL value) noexcept final {
    return answer([&] { return self().Utility_UsesPublicQueues_Let(value != VARIANT_FALSE); });
  }
  HRESULT STDMETHODCALLTYPE raw_IDToString(VARIANT* ID, BSTR* result) noexcept final {
    return answer(result, [&] { return self().Utility_IDToString(given(ID)); });
  }
  HRESULT STDMETHODCALLTYPE raw_ParseQueuePathName(BSTR QueueName, BSTR* result) noexcept final {
    return answer(result, [&] { return self().Utility_ParseQueuePathName(StringRef(QueueName)); });
  }
  HRESULT STDMETHODCALLTYPE raw_FormatQueuePathName(BSTR QueueName, BSTR* result) noexcept final {
    return answer(result, [&] { return self().Utility_FormatQueuePathName(StringRef(QueueName)); });
  }
  HRESULT STDMETHODCALLTYPE raw_CreateQueue(BSTR QueueName) noexcept final {
    return answer([&] { return self().Utility_CreateQueue(StringRef(QueueName)); });
  }
  HRESULT STDMETHODCALLTYPE get_SupportsPublicQueues(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().Utility_SupportsPublicQueues_Get(); });
  }
  HRESULT STDMETHODCALLTYPE get_SupportsPrivateQueues(VARIANT_BOOL* result) noexcept final {
    return answer(result, [&] { return self().Utility_SupportsPrivateQueues_Get(); });
  }
  HRESULT STDMETHODCALLTYPE raw_GetBody(IMSMQMessage** objMessage, VARIANT* result) noexcept final {
    return answer(result, [&] { return self().Utility_GetBody(given(objMessage)); });
  }
  HRESULT STDMETHODCALLTYPE get_QueueStoreType(BSTR* result) noexcept final {
    return answer(result, [&] { return self().Utility_QueueStoreType_Get(); });
  }
  HRESULT STDMETHODCALLTYPE put_QueueStoreType(BSTR value) noexcept final {
    return answer([&] { return self().Utility_QueueStoreType_Let(StringRef(value)); });
  }

  auto Utility_Initialize(const Ref<_ProcessTrace>& ProcessTrace) {
    return self().reportedForm(u"Utility_Initialize", [&] { return self().Initialize(ProcessTrace); });
  }
  auto Utility_UsesPublicQueues_Get() {
    return self().reportedForm(u"Utility_UsesPublicQueues Get", [&] { return self().UsesPublicQueues(); });
  }
  auto Utility_UsesPublicQueues_Let(bool value) {
    return self().reportedForm(u"Utility_UsesPublicQueues Let",
                               [&] { return self().UsesPublicQueues_Let(value); });
  }
  auto Utility_IDToString(VARIANT& ID) {
    return self().reportedForm(u"Utility_IDToString", [&] { return self().IDToString(ID); });
  }
  auto Utility_ParseQueuePathName(StringRef QueueName) {
    return self().reportedForm(u"Utility_ParseQueuePathName",
                               [&] { return self().ParseQueuePathName(QueueName); });
  }
  auto Utility_FormatQueuePathName(StringRef QueueName) {
    return self().reportedForm(u"Utility_FormatQueuePathName",
                               [&] { return self().FormatQueuePathName(QueueName); });
  }
  auto Utility_CreateQueue(StringRef QueueName) {
    return self().reportedForm(u"Utility_CreateQueue", [&] { return self().CreateQueue(QueueName); });
  }
  auto Utility_SupportsPublicQueues_Get() {
    return self().reportedForm(u"Utility_SupportsPublicQueues Get",
                               [&] { return self().SupportsPublicQueues(); });
  }
  auto Utility_SupportsPrivateQueues_Get() {
    return self().reportedForm(u"Utility_SupportsPrivateQueues Get",
                               [&] { return self().SupportsPrivateQueues(); });
  }
  auto Utility_GetBody(IMSMQMessage*& objMessage) {
    return self().reportedForm(u"Utility_GetBody", [&] { return self().GetBody(objMessage); });
  }
  auto Utility_QueueStoreType_Get() {
    return self().reportedForm(u"Utility_QueueStoreType Get", [&] { return self().QueueStoreType(); });
  }
  auto Utility_QueueStoreType_Let(StringRef value) {
    return self().reportedForm(u"Utility_QueueStoreType Let",
                               [&] { return self().QueueStoreType_Let(value); });
  }

 private:
  Self& self() noexcept { return static_cast<Self&>(*this); }
};

}  // namespace CorvaneQueue
