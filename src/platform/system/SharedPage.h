// A small file that processes map to share a few numbers.
#pragma once

#include "File.h"
#include "NowAndThen.h"

#include <memory>
#include <type_traits>

namespace CorvaneQueue::platform_layer {

// The mapping of the first bytes of an open file, which must outlive it.
class FileMapping {
 public:
  // Gives the file its room first. Throws an Error that names it.
  FileMapping(const File& file, std::size_t size);
  ~FileMapping();
  FileMapping(const FileMapping&) = delete;
  FileMapping& operator=(const FileMapping&) = delete;
  void* address() const noexcept { return address_; }
  // Should somebody have cut the file short, touching it would end the process: makes it whole again, with
  // zeros. False when that is not possible. Looks at the file once a millisecond at most.
  bool mend() noexcept;

 private:
  const File& file_;
  std::size_t size_;
  void* address_;
  NowAndThen looks_{std::chrono::milliseconds(1)};
};

// T is made of atomics, and all zeros are a good beginning. The file must outlive this; when it is not open,
// the page is this one's alone.
template <class T>
class SharedPage {
 public:
  explicit SharedPage(const File& file) {
    if (file.isOpen())
      mapping_ = std::make_unique<FileMapping>(file, sizeof(T));
    else
      own_ = std::make_unique<T>();
    shared_ = own_ ? own_.get() : static_cast<T*>(mapping_->address());
  }
  T* get() const noexcept { return shared_; }
  T* operator->() const noexcept { return shared_; }
  bool mend() const noexcept { return own_ || mapping_->mend(); }

 private:
  std::unique_ptr<T> own_;
  std::unique_ptr<FileMapping> mapping_;
  T* shared_;
};

}  // namespace CorvaneQueue::platform_layer
