// Counted references to automation objects and the identities of interfaces.
#pragma once

#include <CorvaneQueue/automation.h>

#include <concepts>
#include <cstddef>
#include <utility>

namespace CorvaneQueue {

// What is known of an interface: specialised beside each one with `iid`, and for dual interfaces
// also `name` and `members`.
template <class Interface>
struct InterfaceTraits;
template <>
struct InterfaceTraits<IUnknown> {
  static constexpr IID iid = identities::unknown;
};
template <>
struct InterfaceTraits<IDispatch> {
  static constexpr IID iid = identities::dispatch;
  static constexpr const char16_t* name = u"IDispatch";
};
template <>
struct InterfaceTraits<IEnumVARIANT> {
  static constexpr IID iid = identities::enumVariant;
};
template <>
struct InterfaceTraits<IErrorInfo> {
  static constexpr IID iid = identities::errorInfo;
};
template <>
struct InterfaceTraits<ISupportErrorInfo> {
  static constexpr IID iid = identities::supportErrorInfo;
};
template <>
struct InterfaceTraits<IClassFactory> {
  static constexpr IID iid = identities::classFactory;
};
template <>
struct InterfaceTraits<IConnectionPoint> {
  static constexpr IID iid = identities::connectionPoint;
};
template <>
struct InterfaceTraits<IConnectionPointContainer> {
  static constexpr IID iid = identities::connectionPointContainer;
};

template <class Interface>
inline constexpr const IID& iidOf = InterfaceTraits<Interface>::iid;

// Owns one count of an object, or nothing. Not thread safe; the count of the object is.
template <class T>
class Ref {
 public:
  Ref() noexcept = default;
  Ref(std::nullptr_t) noexcept {}
  explicit Ref(T* object) noexcept : object_(object) {
    if (object_ != nullptr) object_->AddRef();
  }
  Ref(const Ref& other) noexcept : Ref(other.object_) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires std::convertible_to<U*, T*>
  Ref(const Ref<U>& other) noexcept : Ref(static_cast<T*>(other.get())) {}
  template <class U>
  requires std::convertible_to<U*, T*>
  Ref(Ref<U>&& other) noexcept : object_(other.detach()) {}
  ~Ref() {
    if (object_ != nullptr) object_->Release();
  }
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  // Takes over a count that the caller owns.
  static Ref adopt(T* object) noexcept {
    Ref result;
    result.object_ = object;
    return result;
  }
  // Gives the count to the caller.
  T* detach() noexcept { return std::exchange(object_, nullptr); }
  T* get() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  T* operator->() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  friend bool operator==(const Ref& left, std::nullptr_t) noexcept { return left.object_ == nullptr; }

 private:
  T* object_ = nullptr;
};

// The interface of the object, or nothing when there is no object or it does not answer for it.
template <class Interface>
Ref<Interface> tryQuery(IUnknown* object) noexcept {
  void* found = nullptr;
  if (object == nullptr || FAILED(object->QueryInterface(iidOf<Interface>, &found))) return {};
  return Ref<Interface>::adopt(static_cast<Interface*>(found));
}

}  // namespace CorvaneQueue
