// The operations as a C++ client sees them: handles like those of client.h.
#pragma once

#include <CorvaneQueue/client.h>
#include <CorvaneQueue/Operations.h>

#include <optional>

namespace CorvaneQueue {

class Filter : public Handle<Filter, _Filter> {
 public:
  using Handle::Handle;
  void Where(const CorvaneQueue::Text& Field, const CorvaneQueue::Text& Test,
             const CorvaneQueue::Text& Value) const {
    invoke<&_Filter::raw_Where>(Field, Test, Value);
  }
  String Text() const { return invoke<&_Filter::get_Text>(); }
  void Text(const CorvaneQueue::Text& value) const { invoke<&_Filter::put_Text>(value); }
};

namespace detail {
// Nothing for an empty variant.
inline std::optional<Date> timeOf(const Variant& value) {
  return value.type() == VT_EMPTY ? std::nullopt : std::optional(toDate(value.get()));
}
}  // namespace detail

class Document : public Handle<Document, _Document> {
 public:
  using Handle::Handle;
  String ID() const { return invoke<&_Document::get_ID>(); }
  String Label() const { return invoke<&_Document::get_Label>(); }
  String MsgType() const { return invoke<&_Document::get_MsgType>(); }
  String MsgID() const { return invoke<&_Document::get_MsgID>(); }
  String Object() const { return invoke<&_Document::get_Object>(); }
  String ObjectID() const { return invoke<&_Document::get_ObjectID>(); }
  Date SentTime() const { return invoke<&_Document::get_SentTime>(); }
  std::optional<Date> AcknowledgedTime() const {
    return detail::timeOf(invoke<&_Document::get_AcknowledgedTime>());
  }
  std::int32_t Length() const { return invoke<&_Document::get_Length>(); }
  String Failure() const { return invoke<&_Document::get_Failure>(); }
  String Body() const { return invoke<&_Document::get_Body>(); }
};

class Documents : public Handle<Documents, _Documents> {
 public:
  using Handle::Handle;
  bool NextPage() const { return invoke<&_Documents::raw_NextPage>(); }
  std::int32_t Count() const { return invoke<&_Documents::get_Count>(); }
  Document Item(std::int32_t position) const { return item(Variant(position)); }
  Document Item(const Text& id) const { return item(Variant(String(StringRef(id)))); }
  void PageSize(std::int32_t value) const { invoke<&_Documents::put_PageSize>(value); }
  std::int32_t PageSize() const { return invoke<&_Documents::get_PageSize>(); }
  void Backward(bool value) const { invoke<&_Documents::put_Backward>(value); }
  bool Backward() const { return invoke<&_Documents::get_Backward>(); }
  void Position(const Text& value) const { invoke<&_Documents::put_Position>(value); }
  String Position() const { return invoke<&_Documents::get_Position>(); }
  detail::ElementIterator<Document> begin() const {
    return detail::ElementIterator<Document>(invoke<&_Documents::get_NewEnum>());
  }
  std::default_sentinel_t end() const noexcept { return {}; }

 private:
  Document item(Variant key) const { return Document(invoke<&_Documents::get_Item>(key)); }
};

class Statistics : public Handle<Statistics, _Statistics> {
 public:
  using Handle::Handle;
  String Queue() const { return invoke<&_Statistics::get_Queue>(); }
  std::int32_t Waiting() const { return invoke<&_Statistics::get_Waiting>(); }
  std::int32_t Held() const { return invoke<&_Statistics::get_Held>(); }
  std::int32_t Acknowledged() const { return invoke<&_Statistics::get_Acknowledged>(); }
  std::int64_t WaitingBytes() const { return toInt64(invoke<&_Statistics::get_WaitingBytes>().get()); }
  std::int64_t AcknowledgedBytes() const {
    return toInt64(invoke<&_Statistics::get_AcknowledgedBytes>().get());
  }
  std::optional<Date> OldestWaiting() const {
    return detail::timeOf(invoke<&_Statistics::get_OldestWaiting>());
  }
  std::optional<Date> LastSent() const { return detail::timeOf(invoke<&_Statistics::get_LastSent>()); }
  std::optional<Date> LastAcknowledged() const {
    return detail::timeOf(invoke<&_Statistics::get_LastAcknowledged>());
  }
  std::int32_t Quota() const { return invoke<&_Statistics::get_Quota>(); }
  std::int32_t JournalQuota() const { return invoke<&_Statistics::get_JournalQuota>(); }
  std::int32_t JournalSeconds() const { return invoke<&_Statistics::get_JournalSeconds>(); }
  std::int32_t JournalCount() const { return invoke<&_Statistics::get_JournalCount>(); }
  std::int32_t JournalKilobytes() const { return invoke<&_Statistics::get_JournalKilobytes>(); }
};

// An empty filter handle is every document.
class Operations : public Handle<Operations, _Operations> {
 public:
  static constexpr const char16_t* registeredName = u"CorvaneQueue.Operations";
  using Handle::Handle;
  Filter NewFilter() const { return Filter(invoke<&_Operations::raw_NewFilter>()); }
  CorvaneQueue::Statistics Statistics(const Text& Queue) const {
    return CorvaneQueue::Statistics(invoke<&_Operations::raw_Statistics>(Queue));
  }
  Documents Search(const Text& Queue, bool IsJournal = false, const Filter& filter = {}) const {
    return Documents(invoke<&_Operations::raw_Search>(Queue, IsJournal, filter.object()));
  }
  std::int32_t Delete(const Text& Queue, bool IsJournal, const Filter& filter = {}) const {
    return invoke<&_Operations::raw_Delete>(Queue, IsJournal, filter.object());
  }
  std::int32_t Acknowledge(const Text& Queue, const Filter& filter = {}) const {
    return invoke<&_Operations::raw_Acknowledge>(Queue, filter.object());
  }
  std::int32_t Move(const Text& Queue, bool IsJournal, const Text& ToQueue, const Filter& filter = {}) const {
    return invoke<&_Operations::raw_Move>(Queue, IsJournal, ToQueue, filter.object());
  }
  std::int32_t Redrive(const Text& Queue, const Filter& filter = {}) const {
    return invoke<&_Operations::raw_Redrive>(Queue, filter.object());
  }
  std::int32_t Copy(const Text& Queue, bool IsJournal, const Text& ToQueue, const Filter& filter = {}) const {
    return invoke<&_Operations::raw_Copy>(Queue, IsJournal, ToQueue, filter.object());
  }
  std::int32_t Export(const Text& Queue, bool IsJournal, const Filter& filter, const Text& File) const {
    return invoke<&_Operations::raw_Export>(Queue, IsJournal, filter.object(), File);
  }
  std::int32_t Import(const Text& File, const Text& ToQueue) const {
    return invoke<&_Operations::raw_Import>(File, ToQueue);
  }
  std::int32_t Prune(const Text& Queue, std::int32_t OlderThanSeconds, std::int32_t KeepCount = -1,
                     std::int32_t KeepKilobytes = -1) const {
    return invoke<&_Operations::raw_Prune>(Queue, OlderThanSeconds, KeepCount, KeepKilobytes);
  }
  void SetJournalRule(const Text& Queue, std::int32_t OlderThanSeconds, std::int32_t KeepCount = -1,
                      std::int32_t KeepKilobytes = -1) const {
    invoke<&_Operations::raw_SetJournalRule>(Queue, OlderThanSeconds, KeepCount, KeepKilobytes);
  }
  void Compact() const { invoke<&_Operations::raw_Compact>(); }
  void DeleteQueue(const Text& Queue, bool EvenIfNotEmpty = false) const {
    invoke<&_Operations::raw_DeleteQueue>(Queue, EvenIfNotEmpty);
  }
  String Verify() const { return invoke<&_Operations::raw_Verify>(); }
  void Backup(const Text& Directory) const { invoke<&_Operations::raw_Backup>(Directory); }
  void Restore(const Text& Directory) const { invoke<&_Operations::raw_Restore>(Directory); }
  void Cancel() const { invoke<&_Operations::raw_Cancel>(); }
  std::int32_t Before() const { return invoke<&_Operations::get_Before>(); }
  bool StartsAnew() const { return invoke<&_Operations::get_StartsAnew>(); }
  void StartsAnew(bool value) const { invoke<&_Operations::put_StartsAnew>(value); }
  std::int32_t Held() const { return invoke<&_Operations::get_Held>(); }
  String Damaged() const { return invoke<&_Operations::get_Damaged>(); }
  String Send(const Queue& queue, const Text& Document) const {
    return invoke<&_Operations::raw_Send>(queue.object(), Document);
  }
  void SetCompressMessages(const Text& Queue, bool Value) const {
    invoke<&_Operations::raw_SetCompressMessages>(Queue, Value);
  }
  std::int32_t CodePage() const { return invoke<&_Operations::get_CodePage>(); }
  void CodePage(std::int32_t value) const { invoke<&_Operations::put_CodePage>(value); }

  // Calls the handler after each batch of a call of this object, as long as the result lives.
  using ProgressHandler = std::function<void(std::int32_t Done, std::int32_t Total)>;
  [[nodiscard]] Subscription evtProgress(ProgressHandler handler) const {
    return {object().get(), EventKind{iidOf<__Operations>, CorvaneQueue::evtProgress.id, 2},
            [handler = std::move(handler)](std::span<VARIANT> arguments) {
              handler(toInt32(arguments[1]), toInt32(arguments[0]));
            }};
  }
};

}  // namespace CorvaneQueue
