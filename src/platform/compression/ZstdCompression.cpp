#include "ZstdCompression.h"

#include "Lasting.h"
#include "StoredText.h"

#include <zstd.h>
#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::int32_t succeeded = 0;
constexpr std::int32_t failed = 1;

struct FreeContext {
  void operator()(ZSTD_CCtx* context) const noexcept { ZSTD_freeCCtx(context); }
  void operator()(ZSTD_DCtx* context) const noexcept { ZSTD_freeDCtx(context); }
};
// The engine's working memory, megabytes of it, outlives the instances: each call sets it up anew.
struct Compressor : std::unique_ptr<ZSTD_CCtx, FreeContext> {
  Compressor() : unique_ptr(ZSTD_createCCtx()) {}
};
struct Decompressor : std::unique_ptr<ZSTD_DCtx, FreeContext> {
  Decompressor() : unique_ptr(ZSTD_createDCtx()) {}
};
ZSTD_CCtx& compressor() {
  static Lasting<PerThread<Compressor>> contexts;
  const auto& context = contexts->current();
  if (!context) throw std::bad_alloc();
  return *context;
}
ZSTD_DCtx& decompressor() {
  static Lasting<PerThread<Decompressor>> contexts;
  const auto& context = contexts->current();
  if (!context) throw std::bad_alloc();
  return *context;
}

// Whether the bytes are exactly one frame that tells its content's size and checksum.
bool isOurFrame(std::span<const std::uint8_t> bytes) {
  constexpr std::uint8_t magic[] = {0x28, 0xB5, 0x2F, 0xFD};
  constexpr std::uint8_t checksumFlag = 0x04;
  constexpr std::uint8_t neverSet = 0x1B;  // dictionary, reserved and unused bits
  if (bytes.size() <= std::size(magic) || !std::equal(std::begin(magic), std::end(magic), bytes.begin()))
    return false;
  const std::uint8_t descriptor = bytes[std::size(magic)];
  return (descriptor & checksumFlag) != 0 && (descriptor & neverSet) == 0 &&
         ZSTD_findFrameCompressedSize(bytes.data(), bytes.size()) == bytes.size();
}

class ZstdComponent final : public CompressionComponent {
 public:
  void Level(std::int32_t level) override { level_ = level; }

  std::int32_t Compress(const VARIANT& source, VARIANT& result, bool) override {
    VariantClear(&result);
    const std::string text = toStored(BorrowedText(source).view());
    SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(ZSTD_compressBound(text.size())));
    if (array == nullptr) throw std::bad_alloc();
    result.vt = VT_ARRAY | VT_UI1;
    result.parray = array;
    ZSTD_CCtx& context = compressor();
    ZSTD_CCtx_reset(&context, ZSTD_reset_session_and_parameters);
    ZSTD_CCtx_setParameter(&context, ZSTD_c_compressionLevel, level_);
    ZSTD_CCtx_setParameter(&context, ZSTD_c_checksumFlag, 1);
    const std::size_t size =
        ZSTD_compress2(&context, array->pvData, array->rgsabound[0].cElements, text.data(), text.size());
    if (ZSTD_isError(size) != 0) return VariantClear(&result), failed;
    array->rgsabound[0].cElements = static_cast<ULONG>(size);
    return succeeded;
  }

  std::int32_t Uncompress(const VARIANT& source, VARIANT& result, bool) override {
    VariantClear(&result);
    const auto bytes = bytesOf(source);
    if (!isOurFrame(bytes)) return failed;
    const unsigned long long size = ZSTD_getFrameContentSize(bytes.data(), bytes.size());
    constexpr unsigned long long longest = 3ull << 30;
    if (size == ZSTD_CONTENTSIZE_UNKNOWN || size == ZSTD_CONTENTSIZE_ERROR || size > longest) return failed;
    const auto text = std::make_unique_for_overwrite<char[]>(size == 0 ? 1 : size);
    if (ZSTD_decompressDCtx(&decompressor(), text.get(), size, bytes.data(), bytes.size()) != size)
      return failed;
    const std::string_view stored(text.get(), size);
    String document = String::ofLength(utf16Length(stored));
    if (!decodeUtf8(stored, document.units(), Surrogates::Carried).valid) return failed;
    result = Variant(std::move(document)).detach();
    return succeeded;
  }

 private:
  std::int32_t level_ = ZSTD_CLEVEL_DEFAULT;
};

}  // namespace

std::unique_ptr<CompressionComponent> ZstdCompression::createInstance() {
  return std::make_unique<ZstdComponent>();
}

}  // namespace CorvaneQueue::platform_layer
