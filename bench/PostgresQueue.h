// The same durable work by a database server: prepared statements over a Unix socket.
#pragma once

#include "Workers.h"

#include <memory>
#include <string>

namespace postgres {

// A server in a directory of its own, started and stopped by this.
class Server {
 public:
  // Nothing where no server can be started; `why` says so.
  static std::unique_ptr<Server> start(std::string& why);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // An empty table of messages, with that many in it.
  void prepare(int count, std::size_t size);
  workers::Step sender(std::size_t size) const;
  workers::Step receiver() const;

  // The library's store: the lines of its settings, and the same calls without the library.
  std::string storeSettings() const;
  workers::Step storeSender(std::size_t size) const;
  workers::Step storeReceiver() const;

 private:
  explicit Server(std::string directory) : directory_(std::move(directory)) {}
  std::string directory_;
};

}  // namespace postgres
