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

Ref<_Queue> openQueue(const std::string& name) {
  if (name.empty()) refuse("A queue needs a name.");
  const auto queue = create<_Queue>(u"CorvaneQueue.Queue");
  call<&_Queue::raw_Initialize>(queue, fromUtf8(name), false);
  return queue;
}

// A queue as the list of queues has it: with its messages and its journal.
Ref<_Queue> listedQueue(const std::string& name) {
  const auto queues = create<_Queues>(u"CorvaneQueue.Queues");
  return call<&_Queues::get_Item>(queues, Variant(fromUtf8(name)));
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
              << toUtf8(call<&_Message::get_Label>(message)) << '\n';
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
  call<&_Queue::put_MsgType>(queue, fromUtf8(routing.msgType));
  call<&_Queue::put_MsgID>(queue, fromUtf8(routing.msgID));
  call<&_Queue::put_Object>(queue, fromUtf8(routing.object));
  call<&_Queue::put_ObjectID>(queue, fromUtf8(routing.objectID));
  for (std::size_t i = 0; i < files.size(); ++i) {
    call<&_Queue::raw_SendDocument>(queue, documents[i]);
    std::cout << "sent\t" << files[i] << std::endl;
  }
}

int receive(const std::string& queueName, const ReceiveOptions& options) {
  const auto queue = openQueue(queueName);
  if (!options.directory.empty()) std::filesystem::create_directories(options.directory);
  // Without acknowledgement the first document would come again and again.
  if (!options.acknowledge && options.count != 1) refuse("To receive more than one document, add --ack.");
  int received = 0;
  while (options.count == 0 || received < options.count) {
    const auto message = call<&_Queue::raw_ReceiveNext>(queue);
    if (!message) break;
    const String identifier = call<&_Message::get_ID>(message);
    const String body = toString(call<&_Message::get_Body>(message));
    if (options.directory.empty()) {
      std::cout << toUtf8(body) << std::flush;
      if (!std::cout) refuse("Standard output cannot be written; the document stays in the queue.");
    } else {
      const auto file = std::filesystem::path(options.directory) / (toUtf8(identifier) + ".txt");
      writeDocument(file, body);
      std::cout << toUtf8(identifier) << '\t' << file.string() << std::endl;
    }
    if (options.acknowledge) call<&_Queue::raw_AcknowledgeDocument>(queue, identifier);
    ++received;
  }
  return received;
}

void acknowledge(const std::string& queue, const std::string& identifier) {
  call<&_Queue::raw_AcknowledgeDocument>(openQueue(queue), fromUtf8(identifier));
}

void listQueues() {
  const auto queues = create<_Queues>(u"CorvaneQueue.Queues");
  const std::int32_t count = call<&_Queues::get_Count>(queues);
  for (std::int32_t i = 1; i <= count; ++i)
    std::cout << toUtf8(call<&_Queue::get_Name>(call<&_Queues::get_Item>(queues, Variant(i)))) << '\n';
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
    if (!value.empty()) setting.write(utility, fromUtf8(value));
    std::cout << setting.name << '\t' << toUtf8(setting.read(utility)) << '\n';
  }
  if (!known) refuse("There is no setting \"" + name + "\"; there are QueueStoreType and UsesPublicQueues.");
}

}  // namespace corvaneq
