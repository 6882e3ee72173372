#include "FoundDocuments.h"

#include "StoredText.h"
#include "UtcTime.h"

#include <algorithm>
#include <limits>

namespace CorvaneQueue {

namespace {
constexpr const char16_t* ofSearches = u"CorvaneQueue.Operations";
}  // namespace

DocumentFilter PublicFilter::of(const Ref<_Filter>& filter) {
  return filter ? queryClass<PublicFilter>(filter.get())->filter_ : DocumentFilter();
}

PublicDocument::PublicDocument(std::shared_ptr<OperatedStore> store, DocumentList list,
                               StoredDocument document)
    : store_(std::move(store)), list_(std::move(list)), document_(std::move(document)) {
  document_.body = Variant();
  try {
    ParseLabel(document_.label, fields_);
  } catch (const Error&) {  // a label of somebody else's making: the fields that were read
  }
}

Date PublicDocument::SentTime() const { return utcDate(document_.sent); }
Variant PublicDocument::AcknowledgedTime() const {
  return document_.acknowledged ? Variant(utcDate(*document_.acknowledged)) : Variant();
}
std::int32_t PublicDocument::Length() const {
  constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(document_.length, most));
}

String PublicDocument::Body() const {
  const auto found = store_->whole(list_, document_);
  if (!found)
    throw Error(ErrorNumber::InvalidArgument, ofSearches,
                u"The document " + std::u16string(ID().view()) + u" is no longer there.");
  return store_->textOf(*found);
}

bool PublicDocuments::NextPage() {
  using Direction = StoreOperations::Direction;
  page_ = {};
  DocumentReader reader(*store_, list_, filter_, StoreOperations::Bodies::Left,
                        isBackward_ ? Direction::Backward : Direction::Forward, position_);
  std::vector<StoredDocument> found;
  while (page_.count() < pageSize_ &&
         reader.next(static_cast<std::size_t>(pageSize_ - page_.count()), found)) {
    for (StoredDocument& document : found) {
      const auto added = make<PublicDocument>(store_, list_, std::move(document));
      page_.add(added, added->ID());
    }
    position_ = reader.position();
  }
  return page_.count() > 0;
}

void PublicDocuments::PageSize_Let(std::int32_t value) {
  constexpr std::int32_t most = 10'000;
  if (value < 1 || value > most)
    throw Error(ErrorNumber::InvalidArgument, ofSearches, u"A page has 1 to 10000 documents.");
  pageSize_ = value;
}

void PublicDocuments::Backward_Let(bool value) {
  if (value != isBackward_) position_ = 0;
  isBackward_ = value;
}

String PublicDocuments::Position() const { return (isBackward_ ? u"-" : u"+") + decimal(position_); }

void PublicDocuments::Position_Let(StringRef value) {
  const std::u16string_view text = value;
  std::int64_t position = 0;
  bool isValid = text.size() > 1 && text.size() < 20 && (text[0] == u'+' || text[0] == u'-');
  for (const char16_t digit : text.substr(isValid ? 1 : 0)) {
    isValid = isValid && digit >= u'0' && digit <= u'9';
    if (isValid) position = position * 10 + (digit - u'0');
  }
  if (!isValid)
    throw Error(ErrorNumber::InvalidArgument, ofSearches,
                u"\"" + std::u16string(text) + u"\" is no position: take one that Position has told.");
  isBackward_ = text[0] == u'-';
  position_ = position;
}

}  // namespace CorvaneQueue
