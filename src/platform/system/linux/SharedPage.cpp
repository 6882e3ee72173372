#include "SharedPage.h"

#include <sys/mman.h>

namespace CorvaneQueue::platform_layer {

FileMapping::FileMapping(const File& file, std::size_t size) : file_(file), size_(size) {
  // Without its room on the disk, writing through the mapping would end the process.
  if (!file.reserve(static_cast<std::int64_t>(size))) throwSystemError(u"Preparing", file.name());
  address_ = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.native(), 0);
  if (address_ == MAP_FAILED) throwSystemError(u"Mapping", file.name());
}
FileMapping::~FileMapping() { ::munmap(address_, size_); }

bool FileMapping::mend() noexcept {
  if (!looks_.isDue()) return true;
  const auto size = static_cast<std::int64_t>(size_);
  if (file_.state().size >= size || file_.reserve(size)) return true;
  looks_.soon();
  return false;
}

}  // namespace CorvaneQueue::platform_layer
