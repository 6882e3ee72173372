// Settings of the installation and names of queues. Create it as "CorvaneQueue.Utility".

#pragma once

#include <CorvaneQueue/Host.h>
#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue {

struct _Utility : IDispatch {
  virtual HRESULT CORVANE_CALL raw_Initialize(_ProcessTrace* ProcessTrace) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_UsesPublicQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_UsesPublicQueues(VARIANT_BOOL value) noexcept = 0;
  // The result is decimal: at least ten digits.
  virtual HRESULT CORVANE_CALL raw_IDToString(VARIANT* ID, BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_ParseQueuePathName(BSTR QueueName, BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_FormatQueuePathName(BSTR QueueName, BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_CreateQueue(BSTR QueueName) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_SupportsPublicQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_SupportsPrivateQueues(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL raw_GetBody(IMSMQMessage** objMessage, VARIANT* result) noexcept = 0;
  // "db" or "msmq"; a put of anything else is error 100.
  virtual HRESULT CORVANE_CALL get_QueueStoreType(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_QueueStoreType(BSTR value) noexcept = 0;
};

inline constexpr std::array utilityMembers{
    method<&_Utility::raw_Initialize>(0x60030004, u"Initialize",
                                      "The (optional) Initialize method can be used to pass the ProcessTrace "
                                      "object for better trace and exception handling.",
                                      {u"ProcessTrace"}),
    get<&_Utility::get_UsesPublicQueues>(0x68030003, u"UsesPublicQueues"),
    let<&_Utility::put_UsesPublicQueues>(0x68030003, u"UsesPublicQueues"),
    function<&_Utility::raw_IDToString>(0x60030005, u"IDToString",
                                        "The IDToString function takes an array of Byte and returns a "
                                        "hexadecimal formatted (10-character) string of the last four bytes.",
                                        {u"ID"}),
    function<&_Utility::raw_ParseQueuePathName>(
        0x60030006, u"ParseQueuePathName",
        "The ParseQueuePathName function returns the Name of the Queue with the host (and optionally "
        "PRIVATE$) removed from the full path given in QueueName.",
        {u"QueueName"}),
    function<&_Utility::raw_FormatQueuePathName>(
        0x60030007, u"FormatQueuePathName",
        "The FormatQueuePathName take the Queue name passed in QueueName parameter and adds the host (and "
        "optionally PRIVATE$) to create a valid full path name.",
        {u"QueueName"}),
    method<&_Utility::raw_CreateQueue>(
        0x60030008, u"CreateQueue",
        "The CreateQueue method creates a Queue in MSMQ on the local computer using the QueueName. Whether "
        "the Queue is Public or Private depends on the result of GetUsesPublicQueues function.",
        {u"QueueName"}),
    get<&_Utility::get_SupportsPublicQueues>(0x68030002, u"SupportsPublicQueues"),
    get<&_Utility::get_SupportsPrivateQueues>(0x68030001, u"SupportsPrivateQueues"),
    function<&_Utility::raw_GetBody>(
        0x60030009, u"GetBody", "The GetBody method returns the body of the queue message.", {u"objMessage"}),
    get<&_Utility::get_QueueStoreType>(0x6803000b, u"QueueStoreType"),
    let<&_Utility::put_QueueStoreType>(0x6803000b, u"QueueStoreType"),
};

template <>
struct InterfaceTraits<_Utility> {
  static constexpr IID iid = {0xcfec277b, 0xd2ab, 0x4963, {0xbc, 0xa5, 0xc9, 0x8e, 0xc3, 0x91, 0x25, 0x5b}};
  static constexpr const char16_t* name = u"_Utility";
  static constexpr std::span<const Member> members = utilityMembers;
};

inline constexpr CLSID utilityClass = {
    0xf7a782e0, 0xdee5, 0x4835, {0x87, 0xe4, 0xe0, 0x4b, 0xb3, 0x98, 0xcf, 0xb7}};

}  // namespace CorvaneQueue
