// The compression component: one zstd frame with content size and checksum.
#pragma once

#include "Compression.h"

namespace CorvaneQueue::platform_layer {

class ZstdCompression final : public Compression {
 public:
  std::unique_ptr<CompressionComponent> createInstance() override;
};

}  // namespace CorvaneQueue::platform_layer
