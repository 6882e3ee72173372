#include "Summaries.h"

#include "StoredText.h"

#include <sqlite3.h>
#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace CorvaneQueue::platform_layer {

namespace {

// As it is stored, one behind the other in the order of positions, and a checksum behind them.
struct Entry {
  std::int64_t position;
  LabelSigns signs;
};
static_assert(sizeof(Entry) == 16 && std::endian::native == std::endian::little);
using Checksum = XXH64_hash_t;

using Entries = std::vector<Entry>;

// ---- Made by the engine, which knows no exceptions

void addEntry(sqlite3_context* context, int, sqlite3_value** values) noexcept {
  auto** const kept = static_cast<Entries**>(sqlite3_aggregate_context(context, sizeof(Entries*)));
  if (kept == nullptr) return sqlite3_result_error_nomem(context);
  try {
    if (*kept == nullptr) *kept = std::make_unique<Entries>().release();
    const auto* const label = reinterpret_cast<const char*>(sqlite3_value_text(values[1]));
    const std::string_view text(label == nullptr ? "" : label,
                                static_cast<std::size_t>(sqlite3_value_bytes(values[1])));
    (*kept)->push_back({sqlite3_value_int64(values[0]), signsOf(fromStored(text))});
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  } catch (...) {  // a damaged label: it is not found by its fields, whatever they are
    (*kept)->push_back({sqlite3_value_int64(values[0]), {}});
  }
}

void endEntries(sqlite3_context* context) noexcept {
  auto** const kept = static_cast<Entries**>(sqlite3_aggregate_context(context, 0));
  if (kept == nullptr || *kept == nullptr) return sqlite3_result_null(context);
  const std::unique_ptr<Entries> entries(*kept);
  std::ranges::sort(*entries, {}, &Entry::position);
  const std::size_t size = entries->size() * sizeof(Entry);
  auto* const bytes = static_cast<std::uint8_t*>(sqlite3_malloc64(size + sizeof(Checksum)));
  if (bytes == nullptr) return sqlite3_result_error_nomem(context);
  std::memcpy(bytes, entries->data(), size);
  const Checksum checksum = XXH3_64bits(bytes, size);
  std::memcpy(bytes + size, &checksum, sizeof checksum);
  sqlite3_result_blob64(context, bytes, size + sizeof checksum, sqlite3_free);
}

// ---- Read

struct Summary {
  Stretch stretch;
  std::int64_t firstSent;
  std::int64_t lastSent;
  Entries entries;  // empty for a damaged one
};

Summary summaryIn(const Statement& row) {
  Summary summary{{row.integer(0), row.integer(1)}, row.integer(2), row.integer(3), {}};
  const auto blob = row.blob(4);
  if (blob.size() <= sizeof(Checksum)) return summary;
  const std::size_t size = blob.size() - sizeof(Checksum);
  Checksum checksum = 0;
  std::memcpy(&checksum, blob.data() + size, sizeof checksum);
  if (size % sizeof(Entry) != 0 || checksum != XXH3_64bits(blob.data(), size)) return summary;
  summary.entries.resize(size / sizeof(Entry));
  std::memcpy(summary.entries.data(), blob.data(), size);
  return summary;
}

class Search {
 public:
  Search(SummarizedList& list, std::size_t count, const Sieve& sieve)
      : list_(list), count_(count), sieve_(sieve), rest_(list.searched) {}

  Looked run() {
    while (!isDone() && list_.summaries.step()) {
      Summary summary = summaryIn(list_.summaries);
      sift(before(summary.stretch));
      if (isDone()) break;
      const Stretch part{std::max(summary.stretch.first, rest_.first),
                         std::min(summary.stretch.last, rest_.last)};
      if (summary.entries.empty())
        sift(part);
      else
        pick(summary, part);
    }
    if (!isDone()) sift(rest_);
    return looked_;
  }

 private:
  bool isForward() const noexcept { return list_.direction == StoreOperations::Direction::Forward; }
  bool isDone() const noexcept { return effort_ >= count_ || rest_.isEmpty(); }
  // What is left of the search in front of a summary.
  Stretch before(Stretch summarized) const noexcept {
    return isForward() ? Stretch{rest_.first, summarized.first - 1}
                       : Stretch{summarized.last + 1, rest_.last};
  }
  void passed(std::int64_t position) noexcept {
    (isForward() ? rest_.first : rest_.last) = isForward() ? position + 1 : position - 1;
  }
  // A part that is next, or as much of it as is allowed.
  void sift(Stretch part) {
    if (part.isEmpty()) return;
    const std::size_t most = count_ - effort_;
    const Looked looked = list_.sift(part, most);
    looked_.documents += looked.documents;
    effort_ += static_cast<std::size_t>(looked.documents);
    if (looked.documents > 0) looked_.position = looked.position;
    const bool isWhole = static_cast<std::size_t>(looked.documents) < most;
    passed(!isWhole ? looked.position : isForward() ? part.last : part.first);
  }
  void pick(Summary& summary, Stretch part) {
    std::erase_if(summary.entries, [&](const Entry& entry) {
      return entry.position < part.first || entry.position > part.last;
    });
    const std::size_t all = summary.entries.size();
    if (!sieve_.passes(summary.firstSent, summary.lastSent)) summary.entries.clear();
    std::erase_if(summary.entries, [&](const Entry& entry) { return !sieve_.passes(entry.signs); });
    constexpr std::size_t many = 8;  // one in so many: all of them are read faster
    if (summary.entries.size() > all / many) return sift(part);
    if (!isForward()) std::ranges::reverse(summary.entries);
    for (const Entry& entry : summary.entries) list_.sift({entry.position, entry.position}, 1);
    constexpr std::size_t passedOver = 64;  // so many take the time of one that is sifted
    effort_ += summary.entries.size() + all / passedOver + 1;
    looked_.documents += static_cast<std::int64_t>(std::max<std::size_t>(all, 1));
    looked_.position = isForward() ? part.last : part.first;
    passed(looked_.position);
  }

  SummarizedList& list_;
  std::size_t count_;
  const Sieve& sieve_;
  Stretch rest_;
  std::size_t effort_ = 0;
  Looked looked_;
};

}  // namespace

Looked siftSummarized(SummarizedList list, std::size_t count, const Sieve& sieve) {
  return Search(list, count, sieve).run();
}

int addLabelSigns(sqlite3* handle) noexcept {
  return sqlite3_create_function_v2(handle, "labelSigns", 2, SQLITE_UTF8 | SQLITE_INNOCUOUS, nullptr, nullptr,
                                    addEntry, endEntries, nullptr);
}

}  // namespace CorvaneQueue::platform_layer
