#include "Waiting.h"

#include <CorvaneQueue/Error.h>

#include <algorithm>

namespace CorvaneQueue {

namespace {

// Calls from other apartments come as messages too.
void serveMessages() {
  MSG message;
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
    if (message.message == WM_QUIT) {  // for the loop around this one
      ::PostQuitMessage(static_cast<int>(message.wParam));
      return;
    }
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
}

bool isReady(HANDLE handle) { return ::WaitForSingleObject(handle, 0) == WAIT_OBJECT_0; }

}  // namespace

Ready waitForAny(std::span<const std::intptr_t> descriptors, std::chrono::milliseconds timeout) {
  std::vector<HANDLE> handles;
  for (const std::intptr_t each : descriptors)
    if (each != -1 &&
        handles.size() < MAXIMUM_WAIT_OBJECTS - 1)  // more are looked at when one of these is ready
      handles.push_back(reinterpret_cast<HANDLE>(each));
  constexpr std::int64_t longest = 1 << 30;  // milliseconds that one wait can take
  const DWORD time =
      timeout.count() < 0 ? INFINITE : static_cast<DWORD>(std::min<std::int64_t>(timeout.count(), longest));
  const auto count = static_cast<DWORD>(handles.size());
  const DWORD result =
      ::MsgWaitForMultipleObjectsEx(count, handles.data(), time, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
  if (result == WAIT_FAILED) throw Error(E_FAIL, {}, u"Waiting for events failed.");
  if (result == WAIT_OBJECT_0 + count) {
    serveMessages();
    if (timeout.count() != 0) return {true, {}};
  }
  Ready ready{false, std::vector<bool>(descriptors.size())};
  std::transform(descriptors.begin(), descriptors.end(), ready.each.begin(),
                 [](std::intptr_t each) { return each != -1 && isReady(reinterpret_cast<HANDLE>(each)); });
  return ready;
}

}  // namespace CorvaneQueue
