// What the compression component must offer.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <memory>

namespace CorvaneQueue {

class CompressionComponent {
 public:
  virtual ~CompressionComponent() = default;
  virtual void Level(std::int32_t level) = 0;
  // Both fill `result` and return a status, 0 for success.
  virtual std::int32_t Compress(const VARIANT& source, VARIANT& result, bool endOfData) = 0;
  virtual std::int32_t Uncompress(const VARIANT& source, VARIANT& result, bool endOfData) = 0;
};

class Compression {
 public:
  virtual ~Compression() = default;
  virtual std::unique_ptr<CompressionComponent> createInstance() = 0;
};

}  // namespace CorvaneQueue
