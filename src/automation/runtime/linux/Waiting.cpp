#include "Waiting.h"

#include <CorvaneQueue/Error.h>

#include <poll.h>
#include <algorithm>
#include <cerrno>

namespace CorvaneQueue {

Ready waitForAny(std::span<const std::intptr_t> descriptors, std::chrono::milliseconds timeout) {
  std::vector<pollfd> waiting;
  waiting.reserve(descriptors.size());
  for (const std::intptr_t each : descriptors) waiting.push_back({static_cast<int>(each), POLLIN, 0});
  const auto start = std::chrono::steady_clock::now();
  while (true) {
    int left = -1;
    if (timeout.count() >= 0) {
      const auto passed =
          std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
      constexpr std::int64_t longest = 1 << 30;  // milliseconds that one wait can take
      left = static_cast<int>(std::clamp<std::int64_t>((timeout - passed).count(), 0, longest));
    }
    if (::poll(waiting.data(), waiting.size(), left) >= 0) break;
    if (errno != EINTR) throw Error(E_FAIL, {}, u"Waiting for events failed.");
  }
  Ready ready{false, std::vector<bool>(waiting.size())};
  std::transform(waiting.begin(), waiting.end(), ready.each.begin(),
                 [](const pollfd& each) { return each.revents != 0; });
  return ready;
}

}  // namespace CorvaneQueue
