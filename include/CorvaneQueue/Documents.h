// A condition that documents meet, and what is found: parts of Operations.

#pragma once

#include <CorvaneQueue/members.h>

namespace CorvaneQueue {

struct _Filter : IDispatch {
  // Field: MsgType, MsgID, Object, ObjectID, Label, Body, ID, Sent, Acknowledged or Length (bytes).
  // Test: "equal", "begins with", "one of" (a list with commas), "contains", "contains ignoring case",
  // "from", "to". Times in UTC, as 2026-11-23T08:15:00Z or a day,
  // which is meant from its beginning, and to its end. Error 5 says what would be right.
  virtual HRESULT CORVANE_CALL raw_Where(BSTR Field, BSTR Test, BSTR Value) noexcept = 0;
  // All of it: FIELD TEST "VALUE" and ...; a put replaces it.
  virtual HRESULT CORVANE_CALL get_Text(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Text(BSTR value) noexcept = 0;
};

inline constexpr std::array filterMembers{
    method<&_Filter::raw_Where>(0x60040000, u"Where", "The Where method adds a condition.",
                                {u"Field", u"Test", u"Value"}),
    get<&_Filter::get_Text>(0x68040001, u"Text"),
    let<&_Filter::put_Text>(0x68040001, u"Text"),
};

template <>
struct InterfaceTraits<_Filter> {
  static constexpr IID iid = {0x12e74f7b, 0xd959, 0x48b1, {0xbc, 0x51, 0x58, 0x2d, 0xc1, 0xc6, 0x5f, 0x0f}};
  static constexpr const char16_t* name = u"_Filter";
  static constexpr std::span<const Member> members = filterMembers;
};

struct _Document : IDispatch {
  // Decimal digits, as lists show it.
  virtual HRESULT CORVANE_CALL get_ID(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Label(BSTR* result) noexcept = 0;
  // Of the label.
  virtual HRESULT CORVANE_CALL get_MsgType(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_MsgID(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Object(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_ObjectID(BSTR* result) noexcept = 0;
  // UTC.
  virtual HRESULT CORVANE_CALL get_SentTime(DATE* result) noexcept = 0;
  // UTC; empty for one that waits, or of which that is not known.
  virtual HRESULT CORVANE_CALL get_AcknowledgedTime(VARIANT* result) noexcept = 0;
  // Bytes of the body as it is stored.
  virtual HRESULT CORVANE_CALL get_Length(LONG* result) noexcept = 0;
  // Why a worker failed over it the last time; empty when none did.
  virtual HRESULT CORVANE_CALL get_Failure(BSTR* result) noexcept = 0;
  // Read from the store with each call. Error 5 when it is gone, or damaged.
  virtual HRESULT CORVANE_CALL get_Body(BSTR* result) noexcept = 0;
};

inline constexpr std::array documentMembers{
    get<&_Document::get_ID>(0x68040000, u"ID"),
    get<&_Document::get_Label>(0x68040001, u"Label"),
    get<&_Document::get_MsgType>(0x68040002, u"MsgType"),
    get<&_Document::get_MsgID>(0x68040003, u"MsgID"),
    get<&_Document::get_Object>(0x68040004, u"Object"),
    get<&_Document::get_ObjectID>(0x68040005, u"ObjectID"),
    get<&_Document::get_SentTime>(0x68040006, u"SentTime"),
    get<&_Document::get_AcknowledgedTime>(0x68040007, u"AcknowledgedTime"),
    get<&_Document::get_Length>(0x68040008, u"Length"),
    get<&_Document::get_Failure>(0x6804000a, u"Failure"),
    get<&_Document::get_Body>(0x68040009, u"Body"),
};

template <>
struct InterfaceTraits<_Document> {
  static constexpr IID iid = {0xc20dbc21, 0x19d1, 0x4f13, {0xb8, 0x1b, 0x90, 0xaf, 0xee, 0xa7, 0x17, 0x1f}};
  static constexpr const char16_t* name = u"_Document";
  static constexpr std::span<const Member> members = documentMembers;
};

struct _Documents : IDispatch {
  // By position from 1 (error 9) or by identifier (error 5), of the page.
  virtual HRESULT CORVANE_CALL get_Item(VARIANT* vntIndexKey, _Document** result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Count(LONG* result) noexcept = 0;
  // An IEnumVARIANT over the page.
  virtual HRESULT CORVANE_CALL get_NewEnum(IUnknown** result) noexcept = 0;
  // Reads the next page; false, and an empty page, when there are no more documents. The first call reads the
  // first page. Documents that come and go meanwhile disturb nothing.
  virtual HRESULT CORVANE_CALL raw_NextPage(VARIANT_BOOL* result) noexcept = 0;
  // Documents a page: 100 at first.
  virtual HRESULT CORVANE_CALL get_PageSize(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_PageSize(LONG value) noexcept = 0;
  // From the newest to the oldest: set it before the first page.
  virtual HRESULT CORVANE_CALL get_Backward(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Backward(VARIANT_BOOL value) noexcept = 0;
  // Where the next page begins, to be given to another search of the same list, in any process.
  virtual HRESULT CORVANE_CALL get_Position(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_Position(BSTR value) noexcept = 0;
};

inline constexpr std::array documentsMembers{
    get<&_Documents::get_Item>(0x0, u"Item", "", {u"vntIndexKey"}),
    get<&_Documents::get_Count>(0x68040001, u"Count"),
    get<&_Documents::get_NewEnum>(DISPID_NEWENUM, u"NewEnum").hidden(),
    function<&_Documents::raw_NextPage>(0x60040003, u"NextPage"),
    get<&_Documents::get_PageSize>(0x68040004, u"PageSize"),
    let<&_Documents::put_PageSize>(0x68040004, u"PageSize"),
    get<&_Documents::get_Backward>(0x68040006, u"Backward"),
    let<&_Documents::put_Backward>(0x68040006, u"Backward"),
    get<&_Documents::get_Position>(0x68040008, u"Position"),
    let<&_Documents::put_Position>(0x68040008, u"Position"),
};

template <>
struct InterfaceTraits<_Documents> {
  static constexpr IID iid = {0xe179f773, 0xc972, 0x4185, {0xb8, 0x64, 0xf4, 0x3a, 0xa4, 0xd1, 0xcf, 0xbd}};
  static constexpr const char16_t* name = u"_Documents";
  static constexpr std::span<const Member> members = documentsMembers;
};

struct _Statistics : IDispatch {
  virtual HRESULT CORVANE_CALL get_Queue(BSTR* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Waiting(LONG* result) noexcept = 0;
  // Of those that wait: received in transactions that have not ended.
  virtual HRESULT CORVANE_CALL get_Held(LONG* result) noexcept = 0;
  // In the journal.
  virtual HRESULT CORVANE_CALL get_Acknowledged(LONG* result) noexcept = 0;
  // Bytes of bodies as they are stored, as whole numbers.
  virtual HRESULT CORVANE_CALL get_WaitingBytes(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_AcknowledgedBytes(VARIANT* result) noexcept = 0;
  // Times in UTC; empty when there is none.
  virtual HRESULT CORVANE_CALL get_OldestWaiting(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_LastSent(VARIANT* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_LastAcknowledged(VARIANT* result) noexcept = 0;
  // Kilobytes, -1 for none.
  virtual HRESULT CORVANE_CALL get_Quota(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_JournalQuota(LONG* result) noexcept = 0;
  // The standing rule for its journal (Operations.SetJournalRule), -1 for no bound.
  virtual HRESULT CORVANE_CALL get_JournalSeconds(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_JournalCount(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_JournalKilobytes(LONG* result) noexcept = 0;
};

inline constexpr std::array statisticsMembers{
    get<&_Statistics::get_Queue>(0x68040000, u"Queue"),
    get<&_Statistics::get_Waiting>(0x68040001, u"Waiting"),
    get<&_Statistics::get_Held>(0x68040002, u"Held"),
    get<&_Statistics::get_Acknowledged>(0x68040003, u"Acknowledged"),
    get<&_Statistics::get_WaitingBytes>(0x68040004, u"WaitingBytes"),
    get<&_Statistics::get_AcknowledgedBytes>(0x68040005, u"AcknowledgedBytes"),
    get<&_Statistics::get_OldestWaiting>(0x68040006, u"OldestWaiting"),
    get<&_Statistics::get_LastSent>(0x68040007, u"LastSent"),
    get<&_Statistics::get_LastAcknowledged>(0x68040008, u"LastAcknowledged"),
    get<&_Statistics::get_Quota>(0x68040009, u"Quota"),
    get<&_Statistics::get_JournalQuota>(0x6804000a, u"JournalQuota"),
    get<&_Statistics::get_JournalSeconds>(0x6804000b, u"JournalSeconds"),
    get<&_Statistics::get_JournalCount>(0x6804000c, u"JournalCount"),
    get<&_Statistics::get_JournalKilobytes>(0x6804000d, u"JournalKilobytes"),
};

template <>
struct InterfaceTraits<_Statistics> {
  static constexpr IID iid = {0xb47a5c1d, 0x892b, 0x4078, {0x86, 0x9e, 0x99, 0x40, 0x1c, 0xa8, 0xca, 0xfd}};
  static constexpr const char16_t* name = u"_Statistics";
  static constexpr std::span<const Member> members = statisticsMembers;
};

}  // namespace CorvaneQueue
