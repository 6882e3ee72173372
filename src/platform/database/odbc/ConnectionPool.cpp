#include "ConnectionPool.h"

#include <algorithm>
#include <vector>

namespace CorvaneQueue::platform_layer {

namespace {
constexpr std::size_t most = 4;
thread_local std::vector<std::unique_ptr<OdbcConnection>> idle;
}  // namespace

std::unique_ptr<OdbcConnection> takeConnection(const ServerPlace& place) {
  while (true) {
    const auto found = std::ranges::find_if(idle, [&](const auto& each) { return each->isTo(place); });
    if (found == idle.end()) return std::make_unique<OdbcConnection>(place);
    auto connection = std::move(*found);
    idle.erase(found);
    if (connection->clean()) return connection;
  }
}

void giveBack(std::unique_ptr<OdbcConnection> connection) noexcept {
  if (!connection || idle.size() >= most || !connection->clean()) return;
  try {
    idle.push_back(std::move(connection));
  } catch (const std::bad_alloc&) {  // then it is closed
  }
}

}  // namespace CorvaneQueue::platform_layer
