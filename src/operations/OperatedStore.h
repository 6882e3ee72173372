// The store in use, as operations see it: queues by their names, bodies as texts.
#pragma once

#include "DocumentFilter.h"

namespace CorvaneQueue {

class OperatedStore {
 public:
  // Of the store that the setting QueueStoreType names now. Throws 100 for one that there is not.
  OperatedStore();

  // A queue, or its journal, as the store names it.
  DocumentList list(std::u16string_view queue, bool isJournal) const;
  StoreOperations& session() noexcept { return *session_; }
  // Of the settings: whether documents for a queue are compressed.
  void setCompression(std::u16string_view queue, bool isSet) const;
  // Whether the setting still names it.
  bool isInUse() const;

  String shownID(std::int64_t id) const;
  std::int64_t shownNumber(std::int64_t id) const noexcept { return session_->shownNumber(id); }
  // Throws 5 for a damaged one.
  String textOf(const StoredDocument& document) const;
  // The document with its body; nothing when it is gone.
  std::optional<StoredDocument> whole(const DocumentList& list, const StoredDocument& document);
  // The position of the last one of a list now, 0 when there is none.
  std::int64_t endOf(const DocumentList& list);
  // A document of that label and text, in the form that the queue keeps. Throws 5 when it cannot be kept
  // whole.
  StoredDocument documentOf(std::u16string_view queue, String label, String text) const;

 private:
  bool isMessageQueuing() const noexcept { return type_ != u"db"; }
  // Under which the settings know the queue.
  std::u16string component(std::u16string_view queue) const;
  String type_;
  std::unique_ptr<StoreOperations> session_;
};

// Reads a list from one end to the other, in pieces of bounded size.
class DocumentReader {
 public:
  using Bodies = StoreOperations::Bodies;
  using Direction = StoreOperations::Direction;
  // What is referred to must outlive it. Behind `from`, or before it; 0 before nothing: from the end.
  DocumentReader(OperatedStore& store, DocumentList list, const DocumentFilter& filter, Bodies bodies,
                 Direction direction = Direction::Forward, std::int64_t from = 0);
  // Goes no further than to there.
  void endAt(std::int64_t position) noexcept { last_ = position; }

  // The next documents that the filter lets through, at most `count`; false at the end of the list. There may
  // be none although it goes on: then a piece has been read in which there were none.
  bool next(std::size_t count, std::vector<StoredDocument>& documents);
  std::int64_t position() const noexcept { return position_; }
  // How many documents have been looked at.
  std::int64_t seen() const noexcept { return seen_; }
  // Those of which the body was looked for and was damaged.
  const std::vector<std::int64_t>& damaged() const noexcept { return damaged_; }

 private:
  bool nextPiece();
  bool nextNamed(std::size_t count, std::vector<StoredDocument>& documents);
  void addBodies(std::vector<StoredDocument>& documents, std::size_t count);
  bool isMeant(StoredDocument& document);

  OperatedStore& store_;
  DocumentList list_;
  const DocumentFilter& filter_;
  Sieve sieve_;
  Bodies bodies_;
  Direction direction_;
  std::int64_t position_;
  std::optional<std::int64_t> last_;
  std::int64_t seen_ = 0;
  std::vector<std::int64_t> damaged_;
  std::vector<StoredDocument> piece_;
  std::size_t used_ = 0;     // of the piece
  Looked looked_;            // for it
  std::int64_t before_ = 0;  // seen before it
};

}  // namespace CorvaneQueue
