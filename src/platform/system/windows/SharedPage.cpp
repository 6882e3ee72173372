#include "SharedPage.h"

#include "Handle.h"

namespace CorvaneQueue::platform_layer {

// The view keeps the mapping.
FileMapping::FileMapping(const File& file, std::size_t size) : file_(file), size_(size) {
  if (!file.reserve(static_cast<std::int64_t>(size))) throwSystemError(u"Preparing", file.name());
  const Handle mapping(::CreateFileMappingW(handleOf(file.native()), nullptr, PAGE_READWRITE, 0,
                                            static_cast<DWORD>(size), nullptr));
  if (!mapping.isOpen()) throwSystemError(u"Mapping", file.name());
  address_ = ::MapViewOfFile(mapping.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, size);
  if (address_ == nullptr) throwSystemError(u"Mapping", file.name());
}
FileMapping::~FileMapping() { ::UnmapViewOfFile(address_); }

// The system lets nobody cut a file short that is mapped; what others have made of it is mended all the same.
bool FileMapping::mend() noexcept {
  if (!looks_.isDue()) return true;
  const auto size = static_cast<std::int64_t>(size_);
  if (file_.state().size >= size || file_.reserve(size)) return true;
  looks_.soon();
  return false;
}

}  // namespace CorvaneQueue::platform_layer
