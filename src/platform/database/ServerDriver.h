// What the module of the driver for database servers offers. It is loaded when an engine on a server is set.
#pragma once

#include "StoreAccess.h"

#include <chrono>
#include <string>

namespace CorvaneQueue::platform_layer {

enum class ServerEngine { PostgreSql, SqlServer };

// Where the store is.
struct ServerPlace {
  ServerEngine engine;
  std::u16string connection;  // keywords and values, without the password
  std::u16string password;
};

// Tells a session of what comes into a queue.
class QueueSignal {
 public:
  virtual ~QueueSignal() = default;
  enum class Change { None, Perhaps, CannotBeTold };
  // Returns as soon as something has come into the queue, at the latest after that time; at once with the
  // first wait after work(), as what came before is to be looked for, and when nothing can be told now.
  virtual Change wait(const String& queue, std::chrono::milliseconds longest) = 0;
  // There is something to do: nothing need be told until the next wait.
  virtual void work() noexcept = 0;
};

class ServerDriver {
 public:
  virtual ~ServerDriver() = default;
  // Connects with the first statement. Sessions belong to the thread that made them.
  virtual std::shared_ptr<StoreSession> connect(const ServerPlace& place) = 0;
  // Runs a script in one transaction: nothing of it remains when it fails. Its parts end with lines "GO".
  virtual void run(const ServerPlace& place, std::u16string_view script) = 0;
  // The first column of the rows of a text that is made for the server.
  virtual std::vector<String> ask(const ServerPlace& place, std::u16string_view sql) = 0;
  // Nothing where the server tells nobody.
  virtual std::unique_ptr<QueueSignal> signal(const ServerPlace& place) = 0;
};

// The module's one function, by this name. Nothing when another version of the library is asking.
using ServerDriverFunction = ServerDriver*(const char* version);
inline constexpr const char* serverDriverFunction = "corvaneServerDriver";
inline constexpr const char* serverDriverModule = "libCorvaneQueueOdbc.so";
inline constexpr const char* serverDriverVersion = CORVANE_VERSION;

}  // namespace CorvaneQueue::platform_layer
