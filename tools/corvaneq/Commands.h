// The commands of the operator tool, each over the public object model. Each throws an Error when it
// fails, and prints its results.
#pragma once

#include "Lookups.h"

#include <optional>
#include <string>
#include <vector>

namespace corvaneq {

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

void show(const std::string& queue, const std::string& identifier, Among among);
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
// Prepares the store on a database server, "install" or "upgrade"; "check"s it, or prints the "script" for an
// engine. Whether all of it is there.
bool database(const std::string& job, const std::string& engine);
void describe();
void registerServer();
void unregisterServer();

}  // namespace corvaneq
