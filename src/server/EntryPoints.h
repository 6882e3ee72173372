// What stands behind the entry points of the library; their contracts are in server.h.
#pragma once

#include <CorvaneQueue/automation.h>

namespace CorvaneQueue {

HRESULT classObject(REFCLSID identity, REFIID iid, void** object) noexcept;
HRESULT canUnload() noexcept;
HRESULT registerServer() noexcept;
HRESULT unregisterServer() noexcept;

}  // namespace CorvaneQueue
