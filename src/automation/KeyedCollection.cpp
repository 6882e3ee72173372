#include "KeyedCollection.h"

#include "Text.h"

namespace CorvaneQueue {

namespace {

class Enumerator final : public Object<Enumerator, IEnumVARIANT> {
 public:
  Enumerator(std::vector<Ref<IDispatch>> objects, std::size_t next)
      : objects_(std::move(objects)), next_(next) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* elements, ULONG* fetched) noexcept final {
    if (elements == nullptr || (fetched == nullptr && count != 1)) return E_INVALIDARG;
    ULONG done = 0;
    for (; done < count && next_ < objects_.size(); ++done)
      elements[done] = Variant(objects_[next_++]).detach();
    if (fetched != nullptr) *fetched = done;
    return done == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) noexcept final {
    const std::size_t left = objects_.size() - next_;
    next_ += count < left ? count : left;
    return count <= left ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() noexcept final {
    next_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** copy) noexcept final {
    return answer(copy, [&] { return make<Enumerator>(objects_, next_); });
  }

 private:
  std::vector<Ref<IDispatch>> objects_;
  std::size_t next_;
};

}  // namespace

void ObjectCollection::reserve(std::size_t count) {
  objects_.reserve(count);
  positions_.reserve(count);
}

void ObjectCollection::add(Ref<IDispatch> object, std::u16string_view key) {
  const auto [place, isNew] = positions_.try_emplace(foldCase(key), objects_.size());
  if (!isNew)
    throw Error(
        ErrorNumber::KeyAlreadyPresent, {},
        u"The key \"" + std::u16string(key) + u"\" is already in the collection (letter case ignored).");
  try {
    objects_.push_back(std::move(object));
  } catch (...) {
    positions_.erase(place);
    throw;
  }
}

std::size_t ObjectCollection::positionOf(const VARIANT& keyOrPosition) const {
  Variant index;
  throwIfFailed(VariantCopyInd(index.address(), &keyOrPosition));
  if (index.type() == VT_BSTR) {
    const StringRef key(index.get().bstrVal);
    const auto found = positions_.find(foldCase(key));
    if (found == positions_.end())
      throw Error(ErrorNumber::InvalidArgument, {},
                  u"There is no \"" + std::u16string(key.view()) + u"\" in the collection.");
    return found->second;
  }
  const std::int64_t position = index.isOmitted() ? 0 : toInt64(index.get());
  if (position < 1 || position > static_cast<std::int64_t>(objects_.size()))
    throw Error(ErrorNumber::BadIndex, {},
                u"The position " + decimal(position) + u" is out of range: the collection has " +
                    decimal(objects_.size()) + u" elements, counted from 1.");
  return static_cast<std::size_t>(position - 1);
}

const Ref<IDispatch>& ObjectCollection::item(const VARIANT& keyOrPosition) const {
  return objects_[positionOf(keyOrPosition)];
}

void ObjectCollection::remove(const VARIANT& keyOrPosition) {
  const std::size_t position = positionOf(keyOrPosition);
  std::erase_if(positions_, [&](const auto& entry) { return entry.second == position; });
  for (auto& [key, at] : positions_)
    if (at > position) --at;
  objects_.erase(objects_.begin() + static_cast<std::ptrdiff_t>(position));
}

Ref<IEnumVARIANT> ObjectCollection::enumerator() const { return make<Enumerator>(objects_, std::size_t{0}); }

}  // namespace CorvaneQueue
