// Lists, copies and deletions on a store that the class Operations does not serve, through the object model.
#include "OnServers.h"

#include "Output.h"

namespace corvaneq {

using namespace CorvaneQueue;

bool isOnServer(const Selection& selection) {
  if (!isStoreOnServer()) return false;
  // Conditions are for the class Operations: its error says why there are none.
  if (selection.hasConditions())
    static_cast<void>(create<Operations>()->Search(argument("queue name", selection.queue)));
  return true;
}

namespace {

Among amongOf(const Selection& selection) {
  return selection.isJournal ? Among::Acknowledged : Among::Waiting;
}

std::vector<Message> chosen(const Selection& selection) {
  std::vector<Message> messages = findAll(selection.queue, selection.identifiers, amongOf(selection));
  if (selection.identifiers.empty())
    for (const auto& message : messagesOf(listedQueue(selection.queue), amongOf(selection)))
      messages.push_back(message);
  return messages;
}

}  // namespace

void listOnServer(const Selection& selection) {
  for (const auto& message : messagesOf(listedQueue(selection.queue), amongOf(selection)))
    print({{"id", toUtf8(message->ID())},
           {"sent", utcOfLocal(message->SentTime())},
           {"length", std::int64_t{message->BodyLength()}},
           {"label", toUtf8(message->Label())}});
}

void copyOnServer(const Selection& selection, const std::string& to) {
  const auto target = listedQueue(to);
  const auto messages = chosen(selection);
  target->BeginTransaction();
  try {
    for (const auto& message : messages) target->SendMessage(message);
  } catch (...) {
    target->Abort();
    throw;
  }
  target->Commit();
  print({{"action", "copied"}, {"documents", std::ssize(messages)}});
}

void deleteOnServer(const Selection& selection) {
  const auto queue = listedQueue(selection.queue);
  for (const auto& message : chosen(selection)) {
    const std::string identifier = toUtf8(message->ID());
    queue->AcknowledgeMessage(message);
    print({{"action", "deleted"}, {"id", identifier}});
  }
}

}  // namespace corvaneq
