// The commands of the operator tool, each over the public object model. Each throws an Error when it
// fails, and prints its results.
#pragma once

#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/findMessage.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace corvaneq {

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

struct RoutingOptions {
  std::string msgType;
  std::string msgID;
  std::string object;
  std::string objectID;
};
void send(const std::string& queue, const std::vector<std::string>& files, const std::string& encoding,
          const RoutingOptions& routing);
struct ReceiveOptions {
  std::optional<int> count;  // 0 for all
  bool acknowledge = false;
  std::string directory;    // empty: standard output
  bool isWatching = false;  // waits for documents to arrive, without end
};
// Returns how many documents came.
int receive(const std::string& queue, const ReceiveOptions& options);
void acknowledge(const std::string& queue, const std::string& identifier);

using CorvaneQueue::Among;
void listMessages(const std::string& queue, Among among);
void show(const std::string& queue, const std::string& identifier, Among among);
// The named documents, or all when none is named; all of them or none.
void copy(const std::string& from, const std::string& to, const std::vector<std::string>& identifiers,
          Among among);
// All of them are looked up before the first is deleted.
void deleteMessages(const std::string& queue, const std::vector<std::string>& identifiers);
// Asks first, unless confirmed already.
void purge(const std::string& queue, Among among, bool isConfirmed);

void listQueues();
void createQueue(const std::string& queue);
// Whether it does.
bool exists(const std::string& queue);
void names(const std::string& queue);
// All settings of a queue, one, or a change of one.
void queueSettings(const std::string& queue, const std::optional<std::string>& name,
                   const std::optional<std::string>& value);
// The same of the installation.
void settings(const std::optional<std::string>& name, const std::optional<std::string>& value);
// The store in use, and what the installation supports.
void status();
// Whether the store is sound.
bool check();
void describe();
void registerServer();
void unregisterServer();

}  // namespace corvaneq
