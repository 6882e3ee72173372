// The commands about queues, settings and the library itself.
#include "Commands.h"
#include "Output.h"

#include <CorvaneQueue/describe.h>
#include <CorvaneQueue/server.h>
#include <CorvaneQueue/storeCheck.h>
#include <algorithm>
#include <iostream>

namespace corvaneq {

using namespace CorvaneQueue;

namespace {

struct Setting {
  const char* name;
  const char* values;
  Field (*read)(const Utility&);
  void (*write)(const Utility&, const String&);
};
const Setting knownSettings[] = {
    {"QueueStoreType", "msmq or db",
     [](const Utility& utility) { return Field(toUtf8(utility->QueueStoreType())); },
     [](const Utility& utility, const String& value) { utility->QueueStoreType(value); }},
    {"UsesPublicQueues", "true or false",
     [](const Utility& utility) { return Field(utility->UsesPublicQueues()); },
     [](const Utility& utility, const String& value) {
       utility->UsesPublicQueues(toBoolean(Variant(value).get()));
     }},
};

// Puts a value, or refuses it with a sentence that tells which ones there are.
template <class Put>
void change(const std::string& name, const std::string& value, const char* values, Put&& put) {
  try {
    put(argument("value", value));
  } catch (const Error& error) {
    constexpr std::int32_t unsupported = 100;
    for (const std::int32_t number : {ErrorNumber::TypeMismatch, ErrorNumber::Overflow, unsupported})
      if (error.number() == number) refuse("\"" + value + "\" is no value of " + name + ": " + values + ".");
    throw;
  }
}

}  // namespace

void listQueues() {
  for (const auto& queue : create<Queues>()) print({{"queue", toUtf8(queue->Name())}});
}

void createQueue(const std::string& queue) {
  if (queue.empty()) refuse("A queue needs a name.");
  const String name = argument("queue name", queue);
  if (isThere(queue)) refuse("There is a queue \"" + queue + "\" already.");
  create<Utility>()->CreateQueue(name);
  print({{"action", "created"}, {"queue", queue}});
}

bool exists(const std::string& queue) {
  const bool found = isThere(queue);
  print({{"queue", queue}, {"exists", found}});
  return found;
}

void names(const std::string& queue) {
  if (queue.empty()) refuse("A queue needs a name.");
  const std::string path = toUtf8(create<Utility>()->FormatQueuePathName(argument("queue name", queue)));
  const std::string host = path.substr(0, path.find('\\'));
  const auto isOfAddress = [](char c) { return c == '.' || (c >= '0' && c <= '9'); };
  const bool isAddress = host.size() > 1 && std::ranges::all_of(host, isOfAddress);
  print({{"path name", path}, {"format name", (isAddress ? "DIRECT=TCP:" : "DIRECT=OS:") + path}});
}

namespace {
struct QueueSetting {
  const char* name;
  const char* values;
  Field (*get)(const Queue& queue);
  void (*set)(const Queue& queue, const VARIANT& value);
};
constexpr const char* kilobytes = "a whole number of kilobytes, or -1 for no limit";
const QueueSetting queueSettingsKnown[] = {
    {"JournalEnabled", "true or false", [](const Queue& queue) { return Field(queue->JournalEnabled()); },
     [](const Queue& queue, const VARIANT& value) { queue->JournalEnabled(toBoolean(value)); }},
    {"Quota", kilobytes, [](const Queue& queue) { return Field(queue->Quota()); },
     [](const Queue& queue, const VARIANT& value) { queue->Quota(toInt32(value)); }},
    {"JournalQuota", kilobytes, [](const Queue& queue) { return Field(queue->JournalQuota()); },
     [](const Queue& queue, const VARIANT& value) { queue->JournalQuota(toInt32(value)); }},
};
}  // namespace

void queueSettings(const std::string& queueName, const std::optional<std::string>& name,
                   const std::optional<std::string>& value) {
  mustBeThere(queueName);
  if (!usesMessageQueuing())
    refuse(
        "Only queues of the Message Queuing store (\"msmq\") have settings; on the database store a queue "
        "keeps its journal always, and no quota.");
  const auto queue = openQueue(queueName);
  bool isKnown = false;
  for (const QueueSetting& each : queueSettingsKnown) {
    if (name && *name != each.name) continue;
    isKnown = true;
    if (value)
      change(each.name, *value, each.values,
             [&](const String& text) { each.set(queue, Variant(text).get()); });
    print({{"name", each.name}, {"value", each.get(queue)}});
  }
  if (!isKnown)
    refuse("A queue has no setting \"" + *name + "\", only JournalEnabled, Quota and JournalQuota.");
}

void settings(const std::optional<std::string>& name, const std::optional<std::string>& value) {
  const auto utility = create<Utility>();
  bool known = !name;
  for (const Setting& setting : knownSettings) {
    if (name && *name != setting.name) continue;
    known = true;
    if (value)
      change(setting.name, *value, setting.values, [&](const String& text) { setting.write(utility, text); });
    print({{"setting", setting.name}, {"value", setting.read(utility)}});
  }
  if (!known) refuse("There is no setting \"" + *name + "\"; there are QueueStoreType and UsesPublicQueues.");
}

void status() {
  const auto utility = create<Utility>();
  print({{"name", "store"}, {"value", toUtf8(utility->QueueStoreType())}});
  print({{"name", "queues"}, {"value", utility->UsesPublicQueues() ? "public" : "private"}});
  print({{"name", "path name of a queue"}, {"value", toUtf8(utility->FormatQueuePathName("NAME"))}});
  const StoreReport report = checkStore(StoreCheck::Quick);
  print({{"name", "file of the store"}, {"value", toUtf8(report.file)}});
  print({{"name", "bytes in its log"}, {"value", report.logBytes}});
  print({{"name", "documents without a checksum"}, {"value", report.unchecked}});
  for (const String& finding : report.findings) print({{"name", "finding"}, {"value", toUtf8(finding)}});
  // To find out, a queue is made and deleted: not before there is a store.
  if (!usesMessageQueuing() || !report.isThere) return;
  print({{"name", "supports public queues"}, {"value", utility->SupportsPublicQueues()}});
  print({{"name", "supports private queues"}, {"value", utility->SupportsPrivateQueues()}});
}

bool check() {
  const StoreReport report = checkStore(StoreCheck::Thorough);
  print({{"name", "file of the store"}, {"value", toUtf8(report.file)}});
  print({{"name", "documents"}, {"value", report.documents}});
  print({{"name", "documents without a checksum"}, {"value", report.unchecked}});
  for (const String& finding : report.findings) print({{"name", "finding"}, {"value", toUtf8(finding)}});
  print({{"name", "sound"}, {"value", report.findings.empty()}});
  return report.findings.empty();
}

void describe() {
  if (usesJson())
    print({{"idl", typeDescription()}});
  else
    std::cout << typeDescription();
}

void registerServer() {
  throwIfFailed(DllRegisterServer());
  print({{"action", "registered"}});
}

void unregisterServer() {
  throwIfFailed(DllUnregisterServer());
  print({{"action", "unregistered"}});
}

}  // namespace corvaneq
