// Back-end interface of the services of one store.
#pragma once

#include "IQueues.h"

namespace CorvaneQueue {

struct IUtility : IDispatch {
  virtual HRESULT CORVANE_CALL raw_Initialize(_ProcessTrace* ProcessTrace) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_UsesPublicQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_UsesPublicQueues(VARIANT_BOOL value) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_IDToString(VARIANT ID, BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_ParseQueuePathName(BSTR QueueName, BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_FormatQueuePathName(BSTR QueueName, BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_CreateQueue(BSTR QueueName) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_SupportsPublicQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_SupportsPrivateQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_GetBody(IDispatch* objMessage, VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_QueueStoreType(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_QueueStoreType(BSTR value) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_GetQueues(IQueues** result) noexcept = 0;
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

template <class Self>
class IUtilityForm : public DispatchForm<IUtility> {
  FORM_SELF

 public:
  FORM_METHOD1(IUtility, Initialize, ProcessTrace)
  FORM_GET(IUtility, UsesPublicQueues)
  FORM_LET(IUtility, UsesPublicQueues)
  FORM_FUNCTION1(IUtility, IDToString, ID)
  FORM_FUNCTION1(IUtility, ParseQueuePathName, QueueName)
  FORM_FUNCTION1(IUtility, FormatQueuePathName, QueueName)
  FORM_METHOD1(IUtility, CreateQueue, QueueName)
  FORM_GET(IUtility, SupportsPublicQueues)
  FORM_GET(IUtility, SupportsPrivateQueues)
  FORM_FUNCTION1(IUtility, GetBody, objMessage)
  FORM_GET(IUtility, QueueStoreType)
  FORM_LET(IUtility, QueueStoreType)
  FORM_FUNCTION(IUtility, GetQueues)
};

}  // namespace CorvaneQueue
