// The commands of the operator tool, each over the public object model.
#pragma once

#include <string>
#include <vector>

namespace corvaneq {

struct RoutingOptions {
  std::string msgType;
  std::string msgID;
  std::string object;
  std::string objectID;
};

// Each throws a CorvaneQueue::Error when it fails. Results go to standard output.
void send(const std::string& queue, const std::vector<std::string>& files, const std::string& encoding,
          const RoutingOptions& routing);
struct ReceiveOptions {
  int count = 1;  // 0 for all
  bool acknowledge = false;
  std::string directory;  // empty: standard output
};
// Returns how many documents came.
int receive(const std::string& queue, const ReceiveOptions& options);
void acknowledge(const std::string& queue, const std::string& identifier);
void listQueues();
void listMessages(const std::string& queue);
void listJournal(const std::string& queue);
// All settings, one, or a change of one.
void settings(const std::string& name, const std::string& value);

}  // namespace corvaneq
