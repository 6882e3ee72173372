#include "Commands.h"

#include "Documents.h"

#include <CorvaneQueue/CorvaneQueue.h>
#include <cstdio>
#include <filesystem>
#include <iostream>

namespace corvaneq {

using namespace CorvaneQueue;

namespace {

[[noreturn]] void refuse(const std::string& what) {
  throw Error(ErrorNumber::InvalidArgument, u"corvaneq", fromUtf8(what));
}

// A text from the command line.
String argument(const char* what, const std::string& text) {
  try {
    return fromUtf8(text);
  } catch (const Error&) {
    refuse(std::string("The ") + what + " is not valid UTF-8.");
  }
}

Ref<_Queue> openQueue(const std::string& name) {
  if (name.empty()) refuse("A queue needs a name.");
  const auto queue = create<_Queue>(u"CorvaneQueue.Queue");
  call<&_Queue::raw_Initialize>(queue, argument("queue name", name), false);
  return queue;
}

// A text on one line, control characters escaped.
std::string oneLine(const String& text) {
  std::string line;
  for (const char c : toUtf8(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      line += c;
      continue;
    }
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\x%02X", byte);
    line += escape;
  }
  return line;
}

// A queue as the list of queues has it: with its messages and its journal.
Ref<_Queue> listedQueue(const std::string& name) {
  const auto queues = create<_Queues>(u"CorvaneQueue.Queues");
  const String queue = argument("queue name", name);
  if (!call<&_Queues::raw_Exists>(queues, queue)) refuse("There is no queue \"" + name + "\".");
  return call<&_Queues::get_Item>(queues, Variant(queue));
}

std::string timeText(Date time) {
  const String text = toString(Variant(time).get());
  return toUtf8(text);
}

// One line a message: identifier, time, length, label.
void print(const Ref<_Messages>& messages) {
  call<&_Messages::raw_Refresh>(messages);
  const std::int32_t count = call<&_Messages::get_Count>(messages);
  for (std::int32_t i = 1; i <= count; ++i) {
    Variant position(i);
    const auto message = call<&_Messages::get_Item>(messages, position);
    std::cout << toUtf8(call<&_Message::get_ID>(message)) << '\t'
              << timeText(call<&_Message::get_SentTime>(message)) << '\t'
              << call<&_Message::get_BodyLength>(message) << '\t'
              << oneLine(call<&_Message::get_Label>(message)) << '\n';
  }
}

struct Setting {
  const char* name;
  String (*read)(const Ref<_Utility>&);
  void (*write)(const Ref<_Utility>&, const String&);
};
const Setting knownSettings[] = {
    {"QueueStoreType",
     [](const Ref<_Utility>& utility) { return call<&_Utility::get_QueueStoreType>(utility); },
     [](const Ref<_Utility>& utility, const String& value) {
       call<&_Utility::put_QueueStoreType>(utility, value);
     }},
    {"UsesPublicQueues",
     [](const Ref<_Utility>& utility) {
       return toString(Variant(call<&_Utility::get_UsesPublicQueues>(utility)).get());
     },
     [](const Ref<_Utility>& utility, const String& value) {
       call<&_Utility::put_UsesPublicQueues>(utility, toBoolean(Variant(value).get()));
     }},
};

}  // namespace

void send(const std::string& queueName, const std::vector<std::string>& files, const std::string& encoding,
          const RoutingOptions& routing) {
  std::vector<String> documents;  // all are read before the first is sent: a bad file sends none
  for (const std::string& file : files) documents.push_back(readDocument(file, encoding));
  const auto queue = openQueue(queueName);
  call<&_Queue::put_MsgType>(queue, argument("message type", routing.msgType));
  call<&_Queue::put_MsgID>(queue, argument("message identifier", routing.msgID));
  call<&_Queue::put_Object>(queue, argument("object", routing.object));
  call<&_Queue::put_ObjectID>(queue, argument("object identifier", routing.objectID));
  for (std::size_t i = 0; i < files.size(); ++i) {
    call<&_Queue::raw_SendDocument>(queue, documents[i]);
    std::cout << "sent\t" << files[i] << std::endl;
  }
}

int receive(const std::string& queueName, const ReceiveOptions& options) {
  const auto queue = openQueue(queueName);
  const std::filesystem::path directory = options.directory;
  // Files are written at once, so that a transaction can keep other receivers off the document. A
  // reader of standard output may take its time: nobody waits for it.
  const bool isShared = options.acknowledge && !directory.empty();
  int received = 0;
  for (; options.count == 0 || received < options.count; ++received) {
    if (isShared) call<&_Queue::raw_BeginTransaction>(queue);
    const auto message = call<&_Queue::raw_ReceiveNext>(queue);
    if (!message) break;
    const String identifier = call<&_Message::get_ID>(message);
    const String body = toString(call<&_Message::get_Body>(message));
    const auto file = directory / (toUtf8(identifier) + ".txt");
    if (directory.empty()) {
      std::cout << toUtf8(body) << std::flush;
      if (!std::cout) refuse("Standard output cannot be written; the document stays in the queue.");
    } else {
      writeDocument(file, body);
    }
    if (options.acknowledge) call<&_Queue::raw_AcknowledgeDocument>(queue, identifier);
    if (isShared) call<&_Queue::raw_Commit>(queue);
    if (!directory.empty()) std::cout << toUtf8(identifier) << '\t' << file.string() << std::endl;
  }
  return received;
}

void acknowledge(const std::string& queue, const std::string& identifier) {
  call<&_Queue::raw_AcknowledgeDocument>(openQueue(queue), argument("identifier", identifier));
}

void listQueues() {
  const auto queues = create<_Queues>(u"CorvaneQueue.Queues");
  const std::int32_t count = call<&_Queues::get_Count>(queues);
  for (std::int32_t i = 1; i <= count; ++i)
    std::cout << oneLine(call<&_Queue::get_Name>(call<&_Queues::get_Item>(queues, Variant(i)))) << '\n';
}

void listMessages(const std::string& queue) { print(call<&_Queue::get_Messages>(listedQueue(queue))); }

void listJournal(const std::string& queue) {
  print(call<&_Journal::get_Messages>(call<&_Queue::get_Journal>(listedQueue(queue))));
}

void settings(const std::string& name, const std::string& value) {
  const auto utility = create<_Utility>(u"CorvaneQueue.Utility");
  bool known = name.empty();
  for (const Setting& setting : knownSettings) {
    if (!name.empty() && name != setting.name) continue;
    known = true;
    if (!value.empty()) setting.write(utility, argument("value", value));
    const std::string now = oneLine(setting.read(utility));
    std::cout << setting.name << '\t' << now << '\n';
  }
  if (!known) refuse("There is no setting \"" + name + "\"; there are QueueStoreType and UsesPublicQueues.");
}

}  // namespace corvaneq
