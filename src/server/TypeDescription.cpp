#include "PublishedTypes.h"

#include <CorvaneQueue/describe.h>
#include <cstdio>

namespace CorvaneQueue {

namespace {

std::string quoted(const char* help) {
  std::string result = "\"";
  for (; *help != '\0'; ++help) {
    if (*help == '"') result += '\\';
    result += *help;
  }
  return result + "\"";
}
std::string helpAttribute(const char* help) {
  return *help == '\0' ? "" : ", helpstring(" + quoted(help) + ")";
}

std::string typeName(const ParameterType& type) {
  switch (type.type) {
    case VT_BSTR: return "BSTR";
    case VT_I4: return "long";
    case VT_BOOL: return "VARIANT_BOOL";
    case VT_DATE: return "DATE";
    case VT_VARIANT: return "VARIANT";
    default: return toUtf8(type.interfaceName) + "*";
  }
}

std::string parameterText(const ParameterType& type, const std::string& name, bool isOptional) {
  switch (type.passing) {
    case Passing::Result: return "[out, retval] " + typeName(type) + "* " + name;
    case Passing::ByReference: return "[in, out] " + typeName(type) + "* " + name;
    case Passing::ByValue: break;
  }
  const char* attributes = !isOptional            ? "[in] "
                           : type.type == VT_BSTR ? "[in, optional, defaultvalue(\"\")] "
                                                  : "[in, optional] ";
  return attributes + typeName(type) + " " + name;
}

std::string memberText(const Member& member) {
  char id[16];
  std::snprintf(id, sizeof id, "0x%08x", static_cast<unsigned>(member.id));
  std::string line = std::string("    [id(") + id + ")";
  if (member.kind == MemberKind::Get) line += ", propget";
  if (member.kind == MemberKind::Let) line += ", propput";
  if (member.kind == MemberKind::Set) line += ", propputref";
  if (member.isHidden) line += ", hidden";
  line += helpAttribute(member.help) + "]\n    HRESULT " + toUtf8(member.name) + "(";
  const auto nameOf = [&](std::size_t i, const char* otherwise) {
    return member.parameterNames[i] == nullptr ? std::string(otherwise) : toUtf8(member.parameterNames[i]);
  };
  for (std::size_t i = 0; i < member.parameterCount; ++i) {
    if (i > 0) line += ", ";
    line += parameterText(member.parameterTypes[i], nameOf(i, "RHS"),
                          i + member.optionalCount >= member.parameterCount);
  }
  if (member.hasResult) {
    if (member.parameterCount > 0) line += ", ";
    // A name left over behind those of the parameters is the result's.
    line += parameterText(member.resultType, nameOf(member.parameterCount, "result"), false);
  }
  return line + ");\n";
}

std::string interfaceText(const DescribedInterface& type) {
  std::string result = "\n  [uuid(" + guidText(type.iid) +
                       "), odl, dual, oleautomation, nonextensible, hidden]\n  interface " +
                       toUtf8(type.name) + " : IDispatch {\n";
  for (const Member& member : type.members) result += memberText(member);
  return result + "  };\n";
}

template <class Source>
std::string eventInterfaceText(const EventDescription& event, const std::string& type) {
  std::string line = "\n  [uuid(" + guidText(iidOf<Source>) + "), hidden]\n  dispinterface " +
                     toUtf8(InterfaceTraits<Source>::name) + " {\n    properties:\n    methods:\n";
  line += "    [id(" + std::to_string(event.id) + ")" + helpAttribute(event.help) + "]\n    void " +
          toUtf8(event.name) + "(";
  for (std::size_t i = 0; i < event.parameterNames.size(); ++i)
    line += std::string(i > 0 ? ", " : "") + type + " " + toUtf8(event.parameterNames[i]);
  return line + ");\n  };\n";
}

std::string classText(const DescribedClass& described) {
  std::string result = "\n  [uuid(" + guidText(described.identity) + ")" +
                       (described.isCreatable ? "" : ", noncreatable") + helpAttribute(described.help) +
                       "]\n  coclass " + described.name + " {\n    [default] interface _" + described.name +
                       ";\n";
  if (described.eventInterface != nullptr)
    result += "    [default, source] dispinterface " + toUtf8(described.eventInterface) + ";\n";
  return result + "  };\n";
}

}  // namespace

std::string guidText(const GUID& guid) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
  return buffer;
}

std::string typeDescription() {
  std::string result =
      "// The published classes and interfaces of CorvaneQueue.\nimport \"oaidl.idl\";\n\n[uuid(" +
      guidText(libraryIdentity) + "), version(" + libraryVersion + "), lcid(1033), helpstring(" +
      quoted(libraryHelp) + ")]\nlibrary CorvaneQueue {";
  for (const auto& type : foreignInterfaces) result += interfaceText(type);
  for (const auto& type : publishedInterfaces) result += interfaceText(type);
  result += eventInterfaceText<__Queue>(evtArrived, "[in, out] BSTR*");
  result += eventInterfaceText<__Operations>(evtProgress, "[in] long");
  for (const auto& described : publishedClasses) result += classText(described);
  return result + "};\n";
}

}  // namespace CorvaneQueue
