#include "LogFile.h"

#include "File.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <span>
#include <vector>

namespace CorvaneQueue::platform_layer {

namespace {

// The layout of the engine's log: numbers are big-endian.
constexpr std::size_t headerSize = 32;
constexpr std::size_t frameHeaderSize = 24;
constexpr std::uint32_t magic = 0x377f0682;  // its last bit: checksums over big-endian words
using Salt = std::array<std::uint8_t, 8>;

std::uint32_t numberAt(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
         bytes[3];
}

// Runs on from the header through all frames.
struct Checksum {
  bool isBigEndian = false;
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  void add(std::span<const std::uint8_t> bytes) noexcept {
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
      first += word(&bytes[at]) + second;
      second += word(&bytes[at + 4]) + first;
    }
  }
  bool is(const std::uint8_t* stored) const noexcept {
    return first == numberAt(stored) && second == numberAt(stored + 4);
  }

 private:
  std::uint32_t word(const std::uint8_t* bytes) const noexcept {
    const std::uint32_t number = numberAt(bytes);
    return isBigEndian ? number : __builtin_bswap32(number);
  }
};

}  // namespace

LogFile::LogFile(const std::filesystem::path& store) : file_(store) { file_ += "-wal"; }

bool LogFile::isEmpty() const { return FileState::ifThere(file_).size == 0; }

LogContent LogFile::read() const {
  LogContent content;
  if (isEmpty()) return content;
  const File file(file_, File::Use::Read);
  std::array<std::uint8_t, headerSize> header{};
  if (file.readAt(header, 0) < headerSize || (numberAt(header.data()) & ~1u) != magic) return content;
  Checksum checksum;
  checksum.isBigEndian = (header[3] & 1) != 0;
  const std::uint32_t pageSize = numberAt(&header[8]);
  if (pageSize < 512 || pageSize > 65536) return content;
  checksum.add(std::span(header).first(24));
  bool isWhole = checksum.is(&header[24]);
  Salt salt{};
  std::copy_n(&header[16], salt.size(), salt.begin());
  std::vector<std::uint8_t> frame(frameHeaderSize + pageSize);
  std::uint64_t offset = headerSize;
  for (std::uint32_t number = 1; file.readAt(frame, offset) == frame.size(); ++number) {
    offset += frame.size();
    const bool isOurs = std::equal(salt.begin(), salt.end(), &frame[8]);
    const bool endsTransaction = numberAt(&frame[4]) != 0;
    if (isWhole) {
      checksum.add(std::span(frame).first(8));
      checksum.add(std::span(frame).subspan(frameHeaderSize));
      isWhole = isOurs && checksum.is(&frame[16]);
      if (isWhole && endsTransaction) {
        content.frames = number;
        content.bytes = offset;
      }
      if (isWhole) continue;
    }
    if (!isOurs) continue;
    ++content.framesBehind;
    if (endsTransaction) ++content.transactionsBehind;
  }
  return content;
}

void LogFile::writeAnew(std::uint64_t bytes) const {
  const File file(file_, File::Use::Change);
  std::vector<std::uint8_t> block(1 << 20);
  for (std::uint64_t offset = 0; offset < bytes;) {
    const auto part = std::span(block).first(std::min<std::uint64_t>(block.size(), bytes - offset));
    if (file.readAt(part, offset) < part.size()) throwFileError(u"Reading", file_, std::errc::io_error);
    file.writeAt(part, offset);
    offset += part.size();
  }
  file.sync();
}

std::filesystem::path LogFile::asideName(const char* ending) const {
  using namespace std::chrono;
  std::filesystem::path aside = file_;
  aside += std::string(".") + ending + "-" +
           std::to_string(duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
  return aside;
}

std::filesystem::path LogFile::copyAside(const char* ending) const {
  const std::filesystem::path aside = asideName(ending);
  const File from(file_, File::Use::Read);
  const File to(aside, File::Use::Create);
  std::vector<std::uint8_t> block(1 << 20);
  std::uint64_t offset = 0;
  while (const std::size_t count = from.readAt(block, offset)) {
    to.writeAt(std::span(block).first(count), offset);
    offset += count;
  }
  to.sync();
  return aside;
}

std::filesystem::path LogFile::setAside(const char* ending) const {
  const std::filesystem::path aside = asideName(ending);
  std::error_code error;
  std::filesystem::rename(file_, aside, error);
  if (error) throwFileError(u"Renaming", file_, error);
  return aside;
}

}  // namespace CorvaneQueue::platform_layer
