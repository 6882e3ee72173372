// What the module of the driver for database servers offers. It is loaded when an engine on a server is set.
#pragma once

#include "StoreAccess.h"

#include <string>

namespace CorvaneQueue::platform_layer {

enum class ServerEngine { PostgreSql, SqlServer };

// Where the store is.
struct ServerPlace {
  ServerEngine engine;
  std::u16string connection;  // keywords and values, without the password
  std::u16string password;
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
};

// The module's one function, by this name. Nothing when another version of the library is asking.
using ServerDriverFunction = ServerDriver*(const char* version);
inline constexpr const char* serverDriverFunction = "corvaneServerDriver";
inline constexpr const char* serverDriverModule = "libCorvaneQueueOdbc.so";
inline constexpr const char* serverDriverVersion = CORVANE_VERSION;

}  // namespace CorvaneQueue::platform_layer
