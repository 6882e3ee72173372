// What commands look up: queues and documents that were named on the command line.
#pragma once

#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/findMessage.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace corvaneq {

// The command line cannot be meant so.
class WrongUsage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
// A queue or a document that was named is not there.
class NotThere : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
// The operator said no.
class Declined : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

[[noreturn]] void refuse(const std::string& what);
// A text from the command line; `what` names it in the error for one that is not UTF-8.
CorvaneQueue::String argument(const char* what, const std::string& text);
// Whether the database store is on a server where the class Operations does not work.
bool isStoreOnServer();
// An identifier as lists show it.
std::string shownID(const CorvaneQueue::String& identifier);
// The store is not the database store; one that is neither fails at the first use of a queue.
bool usesMessageQueuing();
// Whether the queue is there. Throws when that cannot be told.
bool isThere(const std::string& queue);
// Throws NotThere.
void mustBeThere(const std::string& queue);
// A queue to send to and receive from, there already or not.
CorvaneQueue::Queue openQueue(const std::string& name);
// A queue as the list of queues has it, with its messages and its journal. Throws NotThere.
CorvaneQueue::Queue listedQueue(const std::string& name);

// The documents that a command is about: those that wait, or those in the journal.
using CorvaneQueue::Among;
// Read from the store just now.
CorvaneQueue::Messages messagesOf(const CorvaneQueue::Queue& queue, Among among);
// By identifier. Throws NotThere.
CorvaneQueue::Message find(const std::string& queue, const std::string& identifier, Among among);
std::vector<CorvaneQueue::Message> findAll(const std::string& queue,
                                           const std::vector<std::string>& identifiers, Among among);

}  // namespace corvaneq
