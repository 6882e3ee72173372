#include "KeyedCollection.h"

#include "StoredText.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace CorvaneQueue {

namespace {

class Enumerator final : public Object<Enumerator, IEnumVARIANT>, ThreadBound {
 public:
  Enumerator(std::vector<Ref<IDispatch>> objects, std::size_t next)
      : objects_(std::move(objects)), next_(next) {}

  HRESULT CORVANE_CALL Next(ULONG count, VARIANT* elements, ULONG* fetched) noexcept final {
    if (elements == nullptr || (fetched == nullptr && count != 1)) return E_INVALIDARG;
    if (fetched != nullptr) *fetched = 0;
    if (!isOwnThread()) return RPC_E_WRONG_THREAD;
    ULONG done = 0;
    for (; done < count && next_ < objects_.size(); ++done)
      elements[done] = Variant(objects_[next_++]).detach();
    if (fetched != nullptr) *fetched = done;
    return done == count ? S_OK : S_FALSE;
  }
  HRESULT CORVANE_CALL Skip(ULONG count) noexcept final {
    if (!isOwnThread()) return RPC_E_WRONG_THREAD;
    const std::size_t left = objects_.size() - next_;
    next_ += count < left ? count : left;
    return count <= left ? S_OK : S_FALSE;
  }
  HRESULT CORVANE_CALL Reset() noexcept final {
    if (!isOwnThread()) return RPC_E_WRONG_THREAD;
    next_ = 0;
    return S_OK;
  }
  HRESULT CORVANE_CALL Clone(IEnumVARIANT** copy) noexcept final {
    return answer(copy, [&] { return make<Enumerator>(objects_, next_); });
  }

 private:
  std::vector<Ref<IDispatch>> objects_;
  std::size_t next_;
};

}  // namespace

std::size_t ObjectCollection::slotOf(std::u16string_view foldedKey, std::size_t hash) const noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = hash & mask;
  for (; slots_[slot] != noElement; slot = (slot + 1) & mask) {
    const Element& element = elements_[slots_[slot]];
    if (element.hash == hash && keyOf(element) == foldedKey) break;
  }
  return slot;
}

void ObjectCollection::rebuild(std::size_t slotCount) {
  slots_.assign(slotCount, noElement);
  for (std::size_t i = 0; i < elements_.size(); ++i)
    slots_[slotOf(keyOf(elements_[i]), elements_[i].hash)] = static_cast<std::uint32_t>(i);
}

void ObjectCollection::reserve(std::size_t count) {
  elements_.reserve(count);
  const std::size_t wanted = std::bit_ceil(count * 2);
  if (wanted > slots_.size()) rebuild(wanted);
}

void ObjectCollection::add(Ref<IDispatch> object, std::u16string_view key) {
  constexpr std::size_t firstSlots = 16;
  if ((elements_.size() + 1) * 2 > slots_.size()) rebuild(std::max(firstSlots, slots_.size() * 2));
  const std::size_t start = keys_.size();
  appendFolded(keys_, key);
  const std::u16string_view folded = std::u16string_view(keys_).substr(start);
  const std::size_t hash = std::hash<std::u16string_view>()(folded);
  const std::size_t slot = slotOf(folded, hash);
  if (slots_[slot] != noElement) {
    keys_.resize(start);
    throw Error(
        ErrorNumber::KeyAlreadyPresent, {},
        u"The key \"" + std::u16string(key) + u"\" is already in the collection (letter case ignored).");
  }
  elements_.push_back({std::move(object), start, folded.size(), hash});
  slots_[slot] = static_cast<std::uint32_t>(elements_.size() - 1);
}

std::size_t ObjectCollection::positionOf(const VARIANT& keyOrPosition) const {
  Variant index;
  throwIfFailedPlain(VariantCopyInd(index.address(), &keyOrPosition));
  if (index.type() == VT_BSTR) {
    const StringRef key(index.get().bstrVal);
    const std::u16string folded = foldCase(key);
    const std::size_t slot = slots_.empty() ? 0 : slotOf(folded, std::hash<std::u16string_view>()(folded));
    if (slots_.empty() || slots_[slot] == noElement)
      throw Error(ErrorNumber::InvalidArgument, {},
                  u"There is no \"" + std::u16string(key.view()) + u"\" in the collection.");
    return slots_[slot];
  }
  const std::int64_t position = index.isOmitted() ? 0 : toInt64(index.get());
  if (position < 1 || position > static_cast<std::int64_t>(elements_.size()))
    throw Error(ErrorNumber::BadIndex, {},
                u"The position " + decimal(position) + u" is out of range: the collection has " +
                    decimal(elements_.size()) + u" elements, counted from 1.");
  return static_cast<std::size_t>(position - 1);
}

const Ref<IDispatch>& ObjectCollection::item(const VARIANT& keyOrPosition) const {
  return elements_[positionOf(keyOrPosition)].object;
}

void ObjectCollection::remove(const VARIANT& keyOrPosition) {
  elements_.erase(elements_.begin() + static_cast<std::ptrdiff_t>(positionOf(keyOrPosition)));
  rebuild(slots_.size());
}

Ref<IEnumVARIANT> ObjectCollection::enumerator() const {
  std::vector<Ref<IDispatch>> objects;
  objects.reserve(elements_.size());
  for (const Element& element : elements_) objects.push_back(element.object);
  return make<Enumerator>(std::move(objects), std::size_t{0});
}

}  // namespace CorvaneQueue
