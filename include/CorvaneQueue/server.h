// The entry points of the library, for processes that load it and for its installation. Under Windows they
// enter it into the system's registry, with the type library of its resources.
#pragma once

#include <CorvaneQueue/automation.h>

#ifdef _WIN32
#include <olectl.h>  // declares them
#else

namespace CorvaneQueue {

extern "C" {

// The class object of a creatable class. CLASS_E_CLASSNOTAVAILABLE for any other identity.
CORVANE_API HRESULT DllGetClassObject(REFCLSID identity, REFIID iid, void** object) noexcept;
// S_OK when no object and no lock is alive and no other thread that used the library still runs, so that
// it may be unloaded: what it kept is let go then (and made anew if it is used all the same). Else S_FALSE.
// Ask before unloading.
CORVANE_API HRESULT DllCanUnloadNow() noexcept;
// Enters the classes Queue, Queues and Utility, their names, the interfaces and the type library into the
// installation's registry (registry.toml), with this library's file as their server and CorvaneQueue.idl
// beside it as their type library. Durable. Registering again brings the entries up to date. Fails with
// E_FAIL, and enters nothing, when the type library is not there.
CORVANE_API HRESULT DllRegisterServer() noexcept;
// Removes the classes that have this library's file as their server, and the type library and its interfaces
// when the one beside this file is entered. What others entered stays, another copy of this library
// included. Not being registered is no error.
CORVANE_API HRESULT DllUnregisterServer() noexcept;
}  // extern "C"

}  // namespace CorvaneQueue

#endif
