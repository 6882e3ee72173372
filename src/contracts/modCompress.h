// Body compression by the outside component.
#pragma once

#include <CorvaneQueue/Variant.h>

namespace CorvaneQueue::modCompress {

// The compressed form of a document. Throws 100 "Compression failed" for a non-zero status.
Variant Compress(const VARIANT& source);
// The document of a compressed form. Throws 100 "Decompression failed" for a non-zero status.
Variant Decompress(const VARIANT& source);

}  // namespace CorvaneQueue::modCompress
