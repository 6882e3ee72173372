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
  // So many documents a step, in one transaction; with a savepoint before each call but the first, or
  // without.
  workers::Step storeSender(std::size_t size, int documents = 1, bool hasSavepoints = false) const;
  workers::Step storeReceiver(int documents = 1, bool hasSavepoints = false) const;
  // Reads all that wait, by a plain SELECT; how many there were.
  int storeListing() const;
  // Statistics and visibility are as they are after a while.
  void settle() const;

 private:
  explicit Server(std::string directory) : directory_(std::move(directory)) {}
  std::string directory_;
};

}  // namespace postgres
