// Stands between clients and a database server, and cuts the connection at a chosen round trip.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <atomic>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

class CuttingProxy {
 public:
  enum class Cut { BeforeTheServer, BeforeTheAnswer };
  // The sockets' directories; the port is 5433 here and 5432 there.
  CuttingProxy(const std::string& own, const std::string& server) : server_(socketOf(server, "5432")) {
    const sockaddr_un address = socketOf(own, "5433");
    listening_ = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(listening_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listening_, 16) != 0)
      throw std::runtime_error("no socket");
    acceptor_ = std::thread([this] { serve(); });
  }
  ~CuttingProxy() {
    isOver_ = true;
    shutdown(listening_, SHUT_RDWR);
    acceptor_.join();
    for (std::thread& each : carriers_) each.join();
    close(listening_);
  }
  CuttingProxy(const CuttingProxy&) = delete;

  // The next one from now on, counted from 1; 0 for none.
  void cutAt(int roundTrip, Cut cut) {
    cut_ = cut;
    seen_ = 0;
    at_ = roundTrip;
  }
  bool hasCut() const { return at_ != 0 && seen_ >= at_; }

 private:
  static sockaddr_un socketOf(const std::string& directory, const char* port) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (directory + "/.s.PGSQL." + port).c_str(), sizeof address.sun_path - 1);
    return address;
  }
  void serve() {
    for (int client; (client = accept(listening_, nullptr, nullptr)) >= 0;)
      carriers_.emplace_back([this, client] { carry(client); });
  }
  static bool pass(int from, int to) {
    char bytes[65536];
    const ssize_t size = read(from, bytes, sizeof bytes);
    return size > 0 && send(to, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL) == size;
  }
  void carry(int client) {
    const int server = socket(AF_UNIX, SOCK_STREAM, 0);
    bool isClientsTurn = true;
    if (connect(server, reinterpret_cast<const sockaddr*>(&server_), sizeof server_) == 0)
      while (!isOver_) {
        pollfd ends[] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        if (poll(ends, 2, 50) == 0) continue;
        if (ends[1].revents != 0) {
          isClientsTurn = true;
          if (!pass(server, client)) break;
        } else {
          const bool isDue = std::exchange(isClientsTurn, false) && at_ != 0 && ++seen_ == at_;
          if (isDue && cut_ == Cut::BeforeTheServer) break;
          if (!pass(client, server)) break;
          if (!isDue) continue;
          poll(&ends[1], 1, 5000);  // it has done it then
          break;
        }
      }
    close(server);
    close(client);
  }
  sockaddr_un server_;
  int listening_ = -1;
  std::atomic<bool> isOver_{false};
  std::atomic<int> at_{0};
  std::atomic<int> seen_{0};
  std::atomic<Cut> cut_{Cut::BeforeTheServer};
  std::thread acceptor_;
  std::vector<std::thread> carriers_;
};
