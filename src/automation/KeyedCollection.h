// Objects in the order added, each under a key that differs from the others by more than letter case.
#pragma once

#include "Object.h"

#include <string>
#include <vector>

namespace CorvaneQueue {

// The untyped collection. Positions count from 1. Finding is O(1) by key and by position.
class ObjectCollection {
 public:
  void reserve(std::size_t count);
  // Throws 457 when the key is present.
  void add(Ref<IDispatch> object, std::u16string_view key);
  // By key (a string) or position (a number). Throws 5 for an unknown key, 9 for a position out of
  // range, 13 for anything that is neither.
  const Ref<IDispatch>& item(const VARIANT& keyOrPosition) const;
  void remove(const VARIANT& keyOrPosition);
  std::size_t count() const noexcept { return elements_.size(); }
  // An IEnumVARIANT over the objects as they are now; later changes do not disturb it.
  Ref<IEnumVARIANT> enumerator() const;

 private:
  // The keys, folded, one behind the other, and a hash table of element numbers over them.
  struct Element {
    Ref<IDispatch> object;
    std::size_t keyStart;
    std::size_t keySize;
    std::size_t hash;
  };
  static constexpr std::uint32_t noElement = 0xFFFFFFFF;
  std::u16string_view keyOf(const Element& element) const noexcept {
    return {keys_.data() + element.keyStart, element.keySize};
  }
  // The slot of the key, or the free one where it belongs.
  std::size_t slotOf(std::u16string_view foldedKey, std::size_t hash) const noexcept;
  void rebuild(std::size_t slotCount);
  std::size_t positionOf(const VARIANT& keyOrPosition) const;

  std::vector<Element> elements_;
  std::u16string keys_;
  std::vector<std::uint32_t> slots_;  // a power of two, at most half used
};

template <class T>
class KeyedCollection {
 public:
  void reserve(std::size_t count) { objects_.reserve(count); }
  void add(const Ref<T>& object, std::u16string_view key) { objects_.add(asDispatch(object), key); }
  Ref<T> item(const VARIANT& keyOrPosition) const {
    auto* found = static_cast<typename T::DefaultInterface*>(objects_.item(keyOrPosition).get());
    return Ref<T>(static_cast<T*>(found));
  }
  void remove(const VARIANT& keyOrPosition) { objects_.remove(keyOrPosition); }
  std::int32_t count() const noexcept { return static_cast<std::int32_t>(objects_.count()); }
  Ref<IEnumVARIANT> enumerator() const { return objects_.enumerator(); }

 private:
  ObjectCollection objects_;
};

}  // namespace CorvaneQueue
