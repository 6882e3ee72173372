#include "modCompress.h"

#include "Platform.h"

namespace CorvaneQueue::modCompress {

namespace {
constexpr std::int32_t bestLevel = 9;
constexpr std::int32_t failed = 100;
}  // namespace

Variant Compress(const VARIANT& source) {
  const auto component = platform().compression->createInstance();
  component->Level(bestLevel);
  Variant result;
  if (component->Compress(source, *result.address(), true) != 0)
    throw Error(failed, u"Compress", u"Compression failed");
  return result;
}

Variant Decompress(const VARIANT& source) {
  const auto component = platform().compression->createInstance();
  Variant result;
  if (component->Uncompress(source, *result.address(), true) != 0)
    throw Error(failed, u"Decompress", u"Decompression failed");
  return result;
}

}  // namespace CorvaneQueue::modCompress
