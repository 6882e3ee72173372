// The commands about queues, settings and the library itself.
#include "Commands.h"
#include "Output.h"

#include <CorvaneQueue/describe.h>
#include <CorvaneQueue/server.h>
#include <CorvaneQueue/storeCheck.h>
#include <algorithm>
#include <iostream>
#include <span>

namespace corvaneq {

using namespace CorvaneQueue;

namespace {

// A setting of the installation (Utility) or of a queue.
enum class Of { EveryStore, MessageQueuing, EmbeddedStores };
template <class Owner>
struct Setting {
  const char* name;
  Of stores;
  const char* values;
  Field (*read)(const Owner& owner);
  void (*write)(const Owner& owner, const VARIANT& value);
};
const Setting<Utility> settingsOfInstallation[] = {
    {"QueueStoreType", Of::EveryStore, "msmq or db",
     [](const Utility& utility) { return Field(toUtf8(utility->QueueStoreType())); },
     [](const Utility& utility, const VARIANT& value) { utility->QueueStoreType(toString(value)); }},
    {"UsesPublicQueues", Of::EveryStore, "true or false",
     [](const Utility& utility) { return Field(utility->UsesPublicQueues()); },
     [](const Utility& utility, const VARIANT& value) { utility->UsesPublicQueues(toBoolean(value)); }},
    {"CodePage", Of::EveryStore, "the number of a code page, 65001 for UTF-8",
     [](const Utility&) { return Field(std::int64_t{create<Operations>()->CodePage()}); },
     [](const Utility&, const VARIANT& value) { create<Operations>()->CodePage(toInt32(value)); }},
};

// The standing rule of a queue's journal, one of its bounds changed.
using Bound = std::int32_t (Statistics::*)() const;
template <Bound Changed>
void changeRule(const Queue& queue, const VARIANT& value) {
  const auto operations = create<Operations>();
  const auto now = operations->Statistics(queue->Name());
  const auto bound = [&](Bound each) { return each == Changed ? toInt32(value) : (now.*each)(); };
  operations->SetJournalRule(queue->Name(), bound(&Statistics::JournalSeconds),
                             bound(&Statistics::JournalCount), bound(&Statistics::JournalKilobytes));
}
template <Bound Shown>
Field ofRule(const Queue& queue) {
  return std::int64_t{(create<Operations>()->Statistics(queue->Name()).*Shown)()};
}
constexpr const char* bounds = "a whole number, or -1 for no such bound";
constexpr const char* kilobytes = "a whole number of kilobytes, or -1 for no limit";
const Setting<Queue> settingsOfQueue[] = {
    {"JournalEnabled", Of::MessageQueuing, "true or false",
     [](const Queue& queue) { return Field(queue->JournalEnabled()); },
     [](const Queue& queue, const VARIANT& value) { queue->JournalEnabled(toBoolean(value)); }},
    {"Quota", Of::MessageQueuing, kilobytes, [](const Queue& queue) { return Field(queue->Quota()); },
     [](const Queue& queue, const VARIANT& value) { queue->Quota(toInt32(value)); }},
    {"JournalQuota", Of::MessageQueuing, kilobytes,
     [](const Queue& queue) { return Field(queue->JournalQuota()); },
     [](const Queue& queue, const VARIANT& value) { queue->JournalQuota(toInt32(value)); }},
    {"CompressMessages", Of::MessageQueuing, "true or false",
     [](const Queue& queue) { return Field(queue->CompressMessages()); },
     [](const Queue& queue, const VARIANT& value) {
       create<Operations>()->SetCompressMessages(queue->Name(), toBoolean(value));
       queue->Initialize(queue->Name());  // reads it
     }},
    {"JournalSeconds", Of::EmbeddedStores, bounds, ofRule<&Statistics::JournalSeconds>,
     changeRule<&Statistics::JournalSeconds>},
    {"JournalCount", Of::EmbeddedStores, bounds, ofRule<&Statistics::JournalCount>,
     changeRule<&Statistics::JournalCount>},
    {"JournalKilobytes", Of::EmbeddedStores, bounds, ofRule<&Statistics::JournalKilobytes>,
     changeRule<&Statistics::JournalKilobytes>},
};

bool isHere(Of stores) {
  return stores == Of::EveryStore ||
         (stores == Of::MessageQueuing ? usesMessageQueuing() : !isStoreOnServer());
}

// Puts a value, or refuses it with a sentence that tells which ones there are.
template <class Owner>
void change(const Setting<Owner>& setting, const Owner& owner, const std::string& value) {
  try {
    setting.write(owner, Variant(argument("value", value)).get());
  } catch (const Error& error) {
    constexpr std::int32_t unsupported = 100;
    for (const std::int32_t number : {ErrorNumber::TypeMismatch, ErrorNumber::Overflow, unsupported})
      if (error.number() == number)
        throw WrongUsage("\"" + value + "\" is no value of " + setting.name + ": " + setting.values + ".");
    throw;
  }
}

// Shows the one that is named, or all, and changes it first when there is a value.
template <class Owner>
void showSettings(std::span<const Setting<Owner>> table, const Owner& owner, const char* key,
                  const std::optional<std::string>& name, const std::optional<std::string>& value) {
  std::string known;
  bool isKnown = !name;
  for (const Setting<Owner>& setting : table) {
    if (!isHere(setting.stores)) continue;
    known += (known.empty() ? "" : ", ") + std::string(setting.name);
    if (name && *name != setting.name) continue;
    isKnown = true;
    if (value) change(setting, owner, *value);
    print({{key, setting.name}, {"value", setting.read(owner)}});
  }
  if (!isKnown)
    throw WrongUsage("There is no setting \"" + *name + "\"; there are " + known + " on this store.");
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

void queueSettings(const std::string& queueName, const std::optional<std::string>& name,
                   const std::optional<std::string>& value) {
  mustBeThere(queueName);
  showSettings<Queue>(settingsOfQueue, openQueue(queueName), "name", name, value);
}

void settings(const std::optional<std::string>& name, const std::optional<std::string>& value) {
  showSettings<Utility>(settingsOfInstallation, create<Utility>(), "setting", name, value);
}

void status() {
  const auto utility = create<Utility>();
  tell("store", toUtf8(utility->QueueStoreType()));
  tell("queues", utility->UsesPublicQueues() ? "public" : "private");
  tell("path name of a queue", toUtf8(utility->FormatQueuePathName("NAME")));
  const StoreReport report = checkStore(StoreCheck::Quick);
  tell("file of the store", toUtf8(report.file));
  tell("bytes in its log", report.logBytes);
  tell("documents without a checksum", report.unchecked);
  for (const String& finding : report.findings) tell("finding", toUtf8(finding));
  // To find out, a queue is made and deleted: not before there is a store.
  if (!usesMessageQueuing() || !report.isThere) return;
  tell("supports public queues", utility->SupportsPublicQueues());
  tell("supports private queues", utility->SupportsPrivateQueues());
}

bool check() {
  const StoreReport report = checkStore(StoreCheck::Thorough);
  tell("file of the store", toUtf8(report.file));
  tell("documents", report.documents);
  tell("documents without a checksum", report.unchecked);
  for (const String& finding : report.findings) tell("finding", toUtf8(finding));
  tell("sound", report.findings.empty());
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
