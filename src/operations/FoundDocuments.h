// What searches find.
#pragma once

#include "KeyedCollection.h"
#include "OperatedStore.h"
#include "OperationsForms.h"

#include "Label.h"

namespace CorvaneQueue {

class PublicFilter final : public Object<PublicFilter, FilterForm<PublicFilter>> {
 public:
  static constexpr GUID classIdentity = {
      0x5b8e4f0a, 0x93c7, 0x4d1e, {0x8a, 0x62, 0x0f, 0x7d, 0x21, 0xb4, 0x9c, 0x35}};
  static constexpr const char16_t* className = u"Filter";
  void Where(StringRef Field, StringRef Test, StringRef Value) { filter_.add(Field, Test, Value); }
  String Text() const { return filter_.text(); }
  void Text_Let(StringRef value) { filter_ = DocumentFilter::parse(value); }
  // Every document for none.
  static DocumentFilter of(const Ref<_Filter>& filter);

 private:
  DocumentFilter filter_;
};

class PublicDocument final : public Object<PublicDocument, DocumentForm<PublicDocument>> {
 public:
  PublicDocument(std::shared_ptr<OperatedStore> store, DocumentList list, StoredDocument document);
  String ID() const { return store_->shownID(document_.id); }
  String Label() const { return document_.label; }
  String MsgType() const { return fields_.MsgType; }
  String MsgID() const { return fields_.MsgID; }
  String Object() const { return fields_.Object; }
  String ObjectID() const { return fields_.ObjectID; }
  Date SentTime() const;
  Variant AcknowledgedTime() const;
  std::int32_t Length() const;
  String Failure() const { return store_->session().failure(store_->shownNumber(document_.id)); }
  String Body() const;

 private:
  std::shared_ptr<OperatedStore> store_;
  DocumentList list_;
  StoredDocument document_;
  RoutingFields fields_;
};

class PublicDocuments final : public Object<PublicDocuments, DocumentsForm<PublicDocuments>> {
 public:
  PublicDocuments(std::shared_ptr<OperatedStore> store, DocumentList list, DocumentFilter filter)
      : store_(std::move(store)), list_(std::move(list)), filter_(std::move(filter)) {}
  Ref<PublicDocument> Item(const VARIANT& key) const { return page_.item(key); }
  std::int32_t Count() const noexcept { return page_.count(); }
  Ref<IUnknown> NewEnum() const { return Ref<IUnknown>(page_.enumerator()); }
  bool NextPage();
  std::int32_t PageSize() const noexcept { return pageSize_; }
  void PageSize_Let(std::int32_t value);
  bool Backward() const noexcept { return isBackward_; }
  void Backward_Let(bool value);
  String Position() const;
  void Position_Let(StringRef value);

 private:
  std::shared_ptr<OperatedStore> store_;
  DocumentList list_;
  DocumentFilter filter_;
  KeyedCollection<PublicDocument> page_;
  std::int32_t pageSize_ = 100;
  bool isBackward_ = false;
  std::int64_t position_ = 0;
};

}  // namespace CorvaneQueue
