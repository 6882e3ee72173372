// A small file that processes map to share a few numbers.
#pragma once

#include "Files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <cerrno>
#include <memory>

namespace CorvaneQueue::platform_layer {

// T is made of atomics, and all zeros are a good beginning. The descriptor must outlive this.
template <class T>
class SharedPage {
 public:
  // Without a descriptor (-1) the page is this one's alone.
  SharedPage(const FileDescriptor& opened, const std::filesystem::path& file) : descriptor_(opened.get()) {
    if (descriptor_ < 0) {
      own_ = std::make_unique<T>();
      shared_ = own_.get();
      return;
    }
    // Without its room on the disk, writing through the mapping would end the process.
    if ((errno = ::posix_fallocate(descriptor_, 0, sizeof(T))) != 0) throwSystemError(u"Preparing", file);
    void* const mapped = ::mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
    if (mapped == MAP_FAILED) throwSystemError(u"Mapping", file);
    shared_ = static_cast<T*>(mapped);
  }
  ~SharedPage() {
    if (!own_) ::munmap(shared_, sizeof(T));
  }
  SharedPage(const SharedPage&) = delete;
  SharedPage& operator=(const SharedPage&) = delete;

  T* get() const noexcept { return shared_; }
  T* operator->() const noexcept { return shared_; }
  // Should somebody have cut the file short, touching the page would end the process: makes it whole again,
  // with zeros. False when that is not possible.
  bool mend() const noexcept {
    struct stat status {};
    return own_ ||
           (::fstat(descriptor_, &status) == 0 && (status.st_size >= static_cast<off_t>(sizeof(T)) ||
                                                   ::posix_fallocate(descriptor_, 0, sizeof(T)) == 0));
  }

 private:
  int descriptor_;
  std::unique_ptr<T> own_;
  T* shared_;
};

}  // namespace CorvaneQueue::platform_layer
