#include "ConnectionPool.h"

#include <algorithm>
#include <vector>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::size_t most = 4;
thread_local bool isOver = false;  // sessions may end after the thread's pool
struct Idle : std::vector<std::unique_ptr<OdbcConnection>> {
  ~Idle() { isOver = true; }
};
thread_local Idle idle;

}  // namespace

std::unique_ptr<OdbcConnection> takeConnection(const ServerPlace& place) {
  while (!isOver) {
    const auto found = std::ranges::find_if(idle, [&](const auto& each) { return each->isTo(place); });
    if (found == idle.end()) break;
    auto connection = std::move(*found);
    idle.erase(found);
    if (!connection->isInherited() && connection->isAlive()) return connection;
  }
  return std::make_unique<OdbcConnection>(place);
}

void giveBack(std::unique_ptr<OdbcConnection> connection) noexcept {
  // Also one that is not kept is rolled back first: a server may take its time to notice the end of a
  // connection, and until then what was held would be held.
  if (!connection || !connection->clean() || isOver) return;
  try {
    if (idle.size() >= most) idle.erase(idle.begin());
    idle.push_back(std::move(connection));
  } catch (const std::bad_alloc&) {  // then it is closed
  }
}

void closeIdle(const ServerPlace& place) noexcept {
  if (!isOver) std::erase_if(idle, [&](const auto& each) { return each->isTo(place); });
}

}  // namespace CorvaneQueue::platform_layer
