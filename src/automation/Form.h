// What the edge between vtable members and C++ members is made of.
#pragma once

#include "TypeInformation.h"

#include <CorvaneQueue/members.h>

#include <cstdint>
#include <memory>
#include <new>

namespace CorvaneQueue {

namespace detail {

// Publishes the exception being handled as error information. The library's only catch ladder is
// Error::current(), which this calls.
HRESULT publishCurrent() noexcept;
HRESULT publishNullPointer() noexcept;
HRESULT publishWrongThread() noexcept;

// Differs between all threads of a process, those that have ended included, and stays the same in a process
// that is forked off.
std::uint64_t threadNumber() noexcept;

}  // namespace detail

// The calling thread's error information as it was, at the end of this.
class KeptErrorInformation {
 public:
  KeptErrorInformation();
  ~KeptErrorInformation();
  KeptErrorInformation(const KeptErrorInformation&) = delete;
  KeptErrorInformation& operator=(const KeptErrorInformation&) = delete;

 private:
  struct State;
  std::unique_ptr<State> before_;
};

// Runs a member and turns an exception into a failed result with error information.
template <class Body>
HRESULT answer(Body&& body) noexcept {
  try {
    body();
    return S_OK;
  } catch (...) {
    return detail::publishCurrent();
  }
}
// The same with an output: cleared first, set only on success.
template <class T, class Body>
HRESULT answer(T* result, Body&& body) noexcept {
  if (result == nullptr) return detail::publishNullPointer();
  *result = T{};
  return answer([&] { *result = detail::PlatformType<T>::give(body()); });
}

// The base of what belongs to the thread that created it. Its own `answer` refuses the calls of all other
// threads with RPC_E_WRONG_THREAD before anything is done. References may be counted and interfaces asked
// for from anywhere.
class ThreadBound {
 protected:
  ThreadBound() noexcept : thread_(detail::threadNumber()) {}

  bool isOwnThread() const noexcept { return thread_ == detail::threadNumber(); }
  template <class Body>
  HRESULT answer(Body&& body) const noexcept {
    if (!isOwnThread()) return detail::publishWrongThread();
    return CorvaneQueue::answer(std::forward<Body>(body));
  }
  template <class T, class Body>
  HRESULT answer(T* result, Body&& body) const noexcept {
    if (isOwnThread()) return CorvaneQueue::answer(result, std::forward<Body>(body));
    if (result != nullptr) *result = T{};
    return detail::publishWrongThread();
  }

 private:
  std::uint64_t thread_;
};

// A reference argument that must be there. Throws 91.
template <class T>
T& given(T* argument) {
  return detail::PlatformType<T*>::argument(argument);
}

// The dispatch half of a dual interface, from its member table.
template <class Interface>
class DispatchForm : public Interface, protected ThreadBound {
 public:
  using Presented = Interface;

  HRESULT CORVANE_CALL GetTypeInfoCount(UINT* count) noexcept final {
    if (count == nullptr) return E_POINTER;
    *count = hasTypeInformation() ? 1 : 0;
    return S_OK;
  }
  HRESULT CORVANE_CALL GetTypeInfo(UINT index, LCID, ITypeInfo** info) noexcept final {
    if (index == 0) return typeInformation(iidOf<Interface>, info);
    if (info != nullptr) *info = nullptr;
    return DISP_E_BADINDEX;
  }
  HRESULT CORVANE_CALL GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) noexcept final {
    return lateBoundNames(InterfaceTraits<Interface>::members, names, count, ids);
  }
  HRESULT CORVANE_CALL Invoke(DISPID id, REFIID reserved, LCID, WORD flags, DISPPARAMS* parameters,
                              VARIANT* result, EXCEPINFO* exception, UINT* argumentInError) noexcept final {
    if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    return lateBoundCall(InterfaceTraits<Interface>::members, static_cast<Interface*>(this), id, flags,
                         parameters, result, exception, argumentInError);
  }
};

}  // namespace CorvaneQueue
