// What the recording door notes, and what it answers.
#pragma once

#include "DatabaseAccess.h"
#include "OperatingSystem.h"

#include <CorvaneQueue/call.h>
#include <CorvaneQueue/MessageQueuing.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace CorvaneQueue {

inline std::string shown(const Ref<IMSMQTransaction>& object) {
  if (!object) return "none";
  return "transaction " + std::to_string(call<&IMSMQTransaction::get_Transaction>(object));
}
template <class T>
std::string shown(const Ref<T>& object) {
  return object ? "object" : "none";
}
inline std::string shown(const VARIANT& value) {
  const auto type = static_cast<VARTYPE>(value.vt & ~VT_BYREF);
  const std::string reference = (value.vt & VT_BYREF) != 0 ? "&" : "";
  if (value.vt == (VT_ERROR)) return "omitted";
  if (type == VT_DISPATCH) {
    const auto transaction =
        tryQuery<IMSMQTransaction>(reference.empty() ? value.pdispVal : *value.ppdispVal);
    return reference + (transaction ? shown(transaction) : "object");
  }
  if (type == VT_EMPTY) return "empty";
  if ((type & VT_ARRAY) != 0) return "bytes";
  const std::string text = toUtf8(toString(value));
  switch (type) {
    case VT_BSTR: return reference + "\"" + text + "\"";
    case VT_I2: return reference + "int16 " + text;
    case VT_I4: return reference + "int32 " + text;
    case VT_DATE: return reference + "date " + text;
    default: return reference + text;
  }
}
inline std::string shown(const std::string& text) { return text; }
inline std::string shown(std::u16string_view text) { return toUtf8(text); }
inline std::string shown(BSTR text) { return toUtf8(StringRef(text)); }
template <class T>
requires std::is_arithmetic_v<T> || std::is_enum_v<T>
std::string shown(T value) {
  if constexpr (std::is_same_v<T, bool>)
    return value ? "yes" : "no";
  else
    return std::to_string(value);
}
inline std::string shown(Date date) { return shown(Variant(date).get()); }

struct Recorder {
  std::string transcript;                              // a call a line
  std::map<std::string, Variant> settings;             // by key
  std::string failing;                                 // the call that starts with this fails with 4711
  std::deque<std::pair<std::string, LONG>> failures;   // the same once each, in order, with these numbers
  std::deque<std::vector<std::vector<Variant>>> rows;  // answers of the database, one a statement
  bool answersNoRecordset = false;
  bool raises = true;  // whether reports raise as asked
  OSVersion version{148, 10, 0, 0, 2, {}};
  SystemTime now{2026, 11, 22, 23, 59, 59, 999};
  std::int32_t bias = 0;
  TimeZoneId zone = zoneUnknown;
  ObjectStateEnum connectionState = adStateOpen;

  std::function<void()> onReport;
  std::map<std::string, String> texts;  // of the registry, the environment and files
  std::vector<String> files;
  // Message Queuing: what the queue is like, what peeks and receives answer, the notification.
  bool isTransactional = false;
  LONG journal = MQ_JOURNAL;
  LONG quota = 0;
  std::deque<Ref<IMSMQMessage>> messages;
  int transactions = 0;
  Ref<IDispatch> handedBack;  // in place of the transaction that a call was given by reference
  std::function<void()> arrive;
  std::function<void(const Ref<IDispatch>& queue)> arriveFrom;
  Ref<IMSMQMessage> sent;

  String text(const std::string& name, std::u16string_view byDefault = {}) const {
    const auto found = texts.find(name);
    return found == texts.end() ? String(byDefault) : found->second;
  }

  // Notes a call: its name and its arguments. It fails as a test has prepared.
  void note(const std::string& name, const auto&... arguments) {
    std::string call = name;
    ((call += " " + shown(arguments)), ...);
    transcript += call + "\n";
    if (!failures.empty() && call.starts_with(failures.front().first)) {
      const LONG number = failures.front().second;
      failures.pop_front();
      throw Error(number, u"door", u"The door failed.");
    }
    if (!failing.empty() && call.starts_with(failing)) throw Error(4711, u"door", u"The door failed.");
  }
};

// The base of what notes the calls of its members. A noted name begins with the object's own.
class Recording {
 public:
  explicit Recording(Recorder& noting, std::string name = {}) : recorder(noting), name_(std::move(name)) {}

 protected:
  HRESULT noted(const std::string& name, const auto&... arguments) {
    return answer([&] { recorder.note(name_ + name, arguments...); });
  }
  // An answer, of which nothing is noted.
  static HRESULT gives(auto* result, const auto& value) {
    return answer(result, [&] { return value; });
  }
  // Both.
  HRESULT notes(auto* result, const auto& value, const std::string& name, const auto&... arguments) {
    return answer(result, [&] { return recorder.note(name_ + name, arguments...), value; });
  }
  Recorder& recorder;
  const std::string name_;
};

// A member in a line.
#define MEMBER(signature, ...) \
  HRESULT signature noexcept final { return __VA_ARGS__; }

}  // namespace CorvaneQueue
