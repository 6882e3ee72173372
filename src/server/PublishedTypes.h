// The published classes and interfaces: what the type description prints and registration enters.
#pragma once

#include <CorvaneQueue/Operations.h>
#include <CorvaneQueue/Queues.h>
#include <CorvaneQueue/Utility.h>

#include <string>

namespace CorvaneQueue {

inline constexpr const char* libraryVersion = "6.2";
inline constexpr const char* libraryHelp = "Corvane Queue Library";
inline constexpr GUID libraryIdentity = {
    0xfcf3e255, 0xf4d6, 0x4e38, {0xbe, 0x42, 0xd0, 0x82, 0xec, 0x97, 0x52, 0xf5}};

struct DescribedInterface {
  const char16_t* name;
  const IID& iid;
  std::span<const Member> members;
};
template <class Interface>
constexpr DescribedInterface described() {
  return {InterfaceTraits<Interface>::name, iidOf<Interface>, InterfaceTraits<Interface>::members};
}
// Of the platform and the host services, as far as published members name them.
inline const DescribedInterface foreignInterfaces[] = {described<_ExceptionHandler>(),
                                                       described<_ClassTrace>(), described<_ProcessTrace>(),
                                                       described<IMSMQMessage>()};
inline const DescribedInterface publishedInterfaces[] = {
    described<_Message>(),   described<_Messages>(),   described<_Journal>(),   described<_Queue>(),
    described<_Queues>(),    described<_Utility>(),    described<_Filter>(),    described<_Document>(),
    described<_Documents>(), described<_Statistics>(), described<_Operations>()};

struct DescribedClass {
  const char* name;
  CLSID identity;
  bool isCreatable;
  const char* help;
  const char16_t* eventInterface;
};
inline const DescribedClass publishedClasses[] = {
    {"Queue", queueClass, true, "The Queue Class is a wrapper around the MSMQ Queue object.", u"__Queue"},
    {"Queues", queuesClass, true, "", nullptr},
    {"Utility", utilityClass, true, "", nullptr},
    {"Messages",
     {0x4afa4b95, 0x59f7, 0x48b0, {0x92, 0x7d, 0xed, 0xca, 0x4e, 0xa4, 0x2b, 0x30}},
     false,
     "The Messages Class is a collection of Message objects.",
     nullptr},
    {"Message",
     {0xf0b4c3eb, 0x8c77, 0x4da3, {0xaf, 0x1b, 0xea, 0x2c, 0x33, 0x2b, 0xff, 0xf2}},
     false,
     "The Message Class is a wrapper around the MSMQ message object.",
     nullptr},
    {"Journal",
     {0xdae0bbcf, 0x25d4, 0x4219, {0xa8, 0x87, 0x36, 0xde, 0x99, 0x8d, 0xab, 0x7c}},
     false,
     "The Journal Class is a Wrapper around the MSMQ journal object.",
     nullptr},
    {"Operations", operationsClass, true, "The Operations Class is for those who operate queues.",
     u"__Operations"},
    {"Filter", filterClass, false, "", nullptr},
    {"Document", documentClass, false, "", nullptr},
    {"Documents", documentsClass, false, "", nullptr},
    {"Statistics", statisticsClass, false, "", nullptr},
};

// Lower-case hexadecimal digits, without braces.
std::string guidText(const GUID& guid);

}  // namespace CorvaneQueue
