#include "OperatedStore.h"

#include "DbUtility.h"
#include "modCompress.h"
#include "Platform.h"
#include "RoutedQueue.h"
#include "StoredText.h"

#include <algorithm>
#include <limits>

namespace CorvaneQueue {

namespace {

constexpr std::size_t pieceCount = 500;
constexpr std::size_t siftedCount = 5000;
constexpr std::int64_t pieceBytes = 4 << 20;

struct CompressionOf : RoutedQueue {
  static bool isSet(std::u16string_view component) { return readsCompressMessages(component); }
};

}  // namespace

OperatedStore::OperatedStore() : type_(make<DbUtility>()->QueueStoreType()) {
  if (type_ != u"db" && type_ != u"msmq")
    throw Error(100, u"CorvaneQueue.Operations", u"Unsupported queue storage type");
  session_ = platform().operations->open(type_);
}

std::u16string OperatedStore::component(std::u16string_view queue) const {
  return std::u16string(queue) + (isMessageQueuing() ? u"Queue" : u"DbQueue");
}

void OperatedStore::setCompression(std::u16string_view queue, bool isSet) const {
  const std::u16string name = component(queue);
  platform().operations->writeSetting({u"Components", name, name, u"CompressMessages"},
                                      Variant(std::int32_t{isSet ? 1 : 0}));
}

bool OperatedStore::isInUse() const { return make<DbUtility>()->QueueStoreType() == type_; }

DocumentList OperatedStore::list(std::u16string_view queue, bool isJournal) const {
  if (queue.empty())
    throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Operations", u"A queue needs a name.");
  const String name{queue};
  return {isMessageQueuing() ? make<DbUtility>()->FormatQueuePathName(name) : name, isJournal};
}

String OperatedStore::shownID(std::int64_t id) const {
  const std::u16string digits = decimal(session_->shownNumber(id));
  const std::size_t length = std::max(session_->shownDigits(), digits.size());
  return std::u16string(length - digits.size(), u'0') + digits;
}

std::optional<StoredDocument> OperatedStore::whole(const DocumentList& list, const StoredDocument& document) {
  std::vector<StoredDocument> found;
  session_->read(list, document.position - 1, StoreOperations::Direction::Forward, 1,
                 StoreOperations::Bodies::Read, found);
  if (found.empty() || found.front().id != document.id) return std::nullopt;
  return std::move(found.front());
}

std::int64_t OperatedStore::endOf(const DocumentList& list) {
  std::vector<StoredDocument> last;
  session_->read(list, std::numeric_limits<std::int64_t>::max(), StoreOperations::Direction::Backward, 1,
                 StoreOperations::Bodies::Left, last);
  return last.empty() ? 0 : last.front().position;
}

String OperatedStore::textOf(const StoredDocument& document) const {
  if (document.isDamaged)
    throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Operations",
                u"The document " + std::u16string(shownID(document.id).view()) +
                    u" is damaged: it is not what was sent. Restore the store from a copy, or delete it.");
  if (document.body.type() == VT_BSTR) return toString(document.body.get());
  if (document.isCompressed) return toString(modCompress::Decompress(document.body.get()));
  return platform().system->fromAnsi(bytesOf(document.body.get()));
}

StoredDocument OperatedStore::documentOf(std::u16string_view queue, String label, String text) const {
  if (label.size() > session_->longestLabel())
    throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Operations",
                u"The label of a document has " + decimal(label.size()) + u" characters, and at most " +
                    decimal(session_->longestLabel()) + u" are kept: shorten its routing fields.");
  StoredDocument document;
  document.label = std::move(label);
  if (!isMessageQueuing()) {
    document.body = Variant(std::move(text));
    return document;
  }
  document.isCompressed = CompressionOf::isSet(component(queue));
  if (document.isCompressed) {
    document.body = modCompress::Compress(Variant(std::move(text)).get());
    return document;
  }
  auto [bytes, firstLost] = platform().system->toAnsi(text);
  if (firstLost)
    throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Operations",
                u"A document is not text in the code page of this installation: character " +
                    decimal(*firstLost + 1) + u" does not fit.");
  document.body = std::move(bytes);
  return document;
}

// ---- Reading

DocumentReader::DocumentReader(OperatedStore& store, DocumentList list, const DocumentFilter& filter,
                               Bodies bodies, Direction direction, std::int64_t from)
    : store_(store),
      list_(std::move(list)),
      filter_(filter),
      sieve_(filter.sieve()),
      bodies_(filter.asksForBody() ? Bodies::Read : bodies),
      direction_(direction),
      position_(direction == Direction::Backward && from == 0 ? std::numeric_limits<std::int64_t>::max()
                                                              : from) {}

bool DocumentReader::next(std::size_t count, std::vector<StoredDocument>& documents) {
  documents.clear();
  if (filter_.named() != nullptr) return nextNamed(count, documents);
  if (used_ == piece_.size() && !nextPiece()) return false;
  std::int64_t bytes = 0;
  while (used_ < piece_.size() && documents.size() < count && bytes < pieceBytes) {
    StoredDocument& document = piece_[used_++];
    position_ = document.position;
    seen_ = before_ + looked_.documents * static_cast<std::int64_t>(used_) / std::ssize(piece_);
    if (!isMeant(document)) continue;
    bytes += document.length;
    documents.push_back(std::move(document));
  }
  if (used_ == piece_.size()) position_ = looked_.position, seen_ = before_ + looked_.documents;
  return true;
}

bool DocumentReader::nextPiece() {
  const std::size_t count = sieve_.isAny() ? siftedCount : pieceCount;
  before_ = seen_;
  used_ = 0;
  looked_ = store_.session().read(list_, position_, direction_, count, Bodies::Left, piece_, sieve_);
  if (looked_.documents == 0) return false;
  if (last_ && looked_.position > *last_) {
    std::erase_if(piece_, [&](const StoredDocument& document) { return document.position > *last_; });
    if (piece_.empty()) return false;
    looked_ = {std::ssize(piece_), *last_};
  }
  if (bodies_ == Bodies::Read && !sieve_.isAny()) addBodies(piece_, pieceCount);
  return true;
}

// All of them in one go, should they be small. Others may have taken some meanwhile: then the second reading
// goes further than the first.
void DocumentReader::addBodies(std::vector<StoredDocument>& documents, std::size_t count) {
  std::int64_t bytes = 0;
  for (const StoredDocument& document : documents) bytes += document.length;
  if (bytes > pieceBytes) return;
  store_.session().read(list_, position_, direction_, count, Bodies::Read, documents);
  std::erase_if(documents, [&](const StoredDocument& document) {
    return direction_ == Direction::Forward ? document.position > looked_.position
                                            : document.position < looked_.position;
  });
}

bool DocumentReader::isMeant(StoredDocument& document) {
  const std::int64_t shown = store_.shownNumber(document.id);
  if (!filter_.matchesHeader(document, shown)) return false;
  if (bodies_ == Bodies::Left) return true;
  if (document.body.type() == VT_EMPTY && !document.isDamaged) {
    auto whole = store_.whole(list_, document);
    if (!whole) return false;  // gone meanwhile
    document = std::move(*whole);
  }
  if (document.isDamaged) return damaged_.push_back(document.id), false;
  return !filter_.asksForBody() || filter_.matchesBody(store_.textOf(document));
}

bool DocumentReader::nextNamed(std::size_t count, std::vector<StoredDocument>& documents) {
  const auto& named = *filter_.named();
  const bool isForward = direction_ == Direction::Forward;
  std::int64_t bytes = 0;
  while (documents.size() < count && bytes < pieceBytes) {
    // Of the identifiers; they are the positions here.
    auto next = isForward ? named.upper_bound(position_) : named.lower_bound(position_);
    if (isForward ? next == named.end() : next == named.begin()) return !documents.empty();
    position_ = isForward ? *next : *--next;
    ++seen_;
    auto found = store_.session().find(list_, position_, Bodies::Left);
    if (!found || !isMeant(*found)) continue;
    bytes += found->length;
    documents.push_back(std::move(*found));
  }
  return true;
}

}  // namespace CorvaneQueue
