// Summaries of many documents that stand one behind the other: a search passes over those that cannot be
// meant without reading them.
#pragma once

#include "Database.h"
#include "StoreOperations.h"

namespace CorvaneQueue::platform_layer {

// A part of a list, both positions included, of which neither is the least or the greatest number there is.
// None of them when the first is behind the last.
struct Stretch {
  std::int64_t first = 0;
  std::int64_t last = 0;
  bool isEmpty() const noexcept { return first > last; }
};

// What a store makes of a list, for a search in a direction.
struct SummarizedList {
  Stretch searched;
  StoreOperations::Direction direction;
  // Summaries that have to do with it, in that direction: first and last position, first and last time that
  // something was sent (seconds since 1970), what labelSigns() gave.
  Statement summaries;
  // Looks at the documents of a part one by one, at most so many.
  std::function<Looked(Stretch, std::size_t count)> sift;
};

// Looks through the list until about `count` documents have been sifted; of what summaries pass over, many
// more.
Looked siftSummarized(SummarizedList list, std::size_t count, const Sieve& sieve);

// The aggregate function labelSigns(position, label) of summaries. Returns the engine's result.
int addLabelSigns(sqlite3* handle) noexcept;

}  // namespace CorvaneQueue::platform_layer
