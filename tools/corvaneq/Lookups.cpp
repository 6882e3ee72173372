#include "Lookups.h"

namespace corvaneq {

using namespace CorvaneQueue;

void refuse(const std::string& what) {
  throw Error(ErrorNumber::InvalidArgument, u"corvaneq", fromUtf8(what));
}

String argument(const char* what, const std::string& text) {
  try {
    return fromUtf8(text);
  } catch (const Error&) {
    refuse(std::string("The ") + what + " is not valid UTF-8.");
  }
}

Queue openQueue(const std::string& name) {
  if (name.empty()) refuse("A queue needs a name.");
  const auto queue = create<Queue>();
  queue->Initialize(argument("queue name", name));
  return queue;
}

bool usesMessageQueuing() { return create<Utility>()->QueueStoreType() == u"msmq"; }

bool isStoreOnServer() {
  constexpr std::int32_t notSupported = 100;
  try {
    static_cast<void>(create<Operations>()->Search("any"));
    return false;
  } catch (const Error& error) {
    if (error.number() != notSupported || usesMessageQueuing()) throw;
    return true;
  }
}

std::string shownID(const String& identifier) {
  constexpr std::size_t digits = 19;
  std::string text = toUtf8(identifier);
  if (!usesMessageQueuing() && text.size() < digits) text.insert(0, digits - text.size(), '0');
  return text;
}

bool isThere(const std::string& name) {
  const String queue = argument("queue name", name);
  if (create<Queues>()->Exists(queue)) return true;
  const auto utility = create<Utility>();
  if (utility->QueueStoreType() != u"msmq") return false;
  // A store that cannot be read has answered so too.
  const auto info = CorvaneQueue::create<IMSMQQueueInfo>(u"MSMQ.MSMQQueueInfo");
  call<&IMSMQQueueInfo::put_PathName>(info, utility->FormatQueuePathName(queue));
  try {
    call<&IMSMQQueueInfo::raw_Open>(info, MQ_PEEK_ACCESS, MQ_DENY_NONE);
    return true;
  } catch (const Error& error) {
    if (error.number() == MQ_ERROR_QUEUE_NOT_FOUND || error.number() == MQ_ERROR_ILLEGAL_QUEUE_PATHNAME)
      return false;
    throw;
  }
}

void mustBeThere(const std::string& queue) {
  if (!isThere(queue)) throw NotThere("There is no queue \"" + queue + "\".");
}

Queue listedQueue(const std::string& name) {
  mustBeThere(name);
  try {
    return create<Queues>()->Item(argument("queue name", name));
  } catch (const Error& error) {
    if (error.number() != ErrorNumber::InvalidArgument) throw;
    throw NotThere("The queue \"" + name + "\" is there, but not in the list of queues.");
  }
}

Messages messagesOf(const Queue& queue, Among among) {
  const auto messages = among == Among::Waiting ? queue->Messages() : queue->Journal()->Messages();
  messages->Refresh();
  return messages;
}

Message find(const std::string& queue, const std::string& identifier, Among among) {
  mustBeThere(queue);
  const auto message = findMessage(argument("queue name", queue), among, argument("identifier", identifier));
  if (!message) throw NotThere("There is no document \"" + identifier + "\" here.");
  return message;
}

std::vector<Message> findAll(const std::string& queue, const std::vector<std::string>& identifiers,
                             Among among) {
  std::vector<Message> found;
  for (const std::string& identifier : identifiers) found.push_back(find(queue, identifier, among));
  return found;
}

}  // namespace corvaneq
