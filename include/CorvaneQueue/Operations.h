// What operators do with the documents of the store in use: see, find, move, keep, delete. Create it as
// "CorvaneQueue.Operations". An object belongs to the thread that created it.

#pragma once

#include <CorvaneQueue/Documents.h>
#include <CorvaneQueue/Queue.h>
#include <CorvaneQueue/Subscription.h>

namespace CorvaneQueue {

struct _Operations : IDispatch {
  // A filter without conditions: every document.
  virtual HRESULT CORVANE_CALL raw_NewFilter(_Filter** result) noexcept = 0;
  // Asks for no document, however many there are.
  virtual HRESULT CORVANE_CALL raw_Statistics(BSTR Queue, _Statistics** result) noexcept = 0;
  // The documents of a queue, or of its journal, that the filter lets through. Null for every document.
  virtual HRESULT CORVANE_CALL raw_Search(BSTR Queue, VARIANT_BOOL IsJournal, _Filter* Filter,
                                          _Documents** result) noexcept = 0;
  // These return how many documents they have dealt with. They go on in batches, each of which is one durable
  // unit; what is done stays done when they fail or are cancelled, and calling them again goes on. Documents
  // that a receiver holds and damaged ones are left alone, and told by Held and Damaged. Documents that come
  // while they go on are left alone too. Copy and Import are known as ended when this object is called again
  // or let go: a process that dies before that and asks for the same again gets nothing twice. Without a
  // trace in the journal.
  virtual HRESULT CORVANE_CALL raw_Delete(BSTR Queue, VARIANT_BOOL IsJournal, _Filter* Filter,
                                          LONG* result) noexcept = 0;
  // As if they had been received.
  virtual HRESULT CORVANE_CALL raw_Acknowledge(BSTR Queue, _Filter* Filter, LONG* result) noexcept = 0;
  // They keep their identifiers, and stand in the order of these.
  virtual HRESULT CORVANE_CALL raw_Move(BSTR Queue, VARIANT_BOOL IsJournal, BSTR ToQueue, _Filter* Filter,
                                        LONG* result) noexcept = 0;
  // From the journal back to the waiting documents.
  virtual HRESULT CORVANE_CALL raw_Redrive(BSTR Queue, _Filter* Filter, LONG* result) noexcept = 0;
  // As new documents, behind all others.
  virtual HRESULT CORVANE_CALL raw_Copy(BSTR Queue, VARIANT_BOOL IsJournal, BSTR ToQueue, _Filter* Filter,
                                        LONG* result) noexcept = 0;
  // Into a file that is not there yet, a JSON object a line. Cancelled or killed, it goes on with FILE.part.
  virtual HRESULT CORVANE_CALL raw_Export(BSTR Queue, VARIANT_BOOL IsJournal, _Filter* Filter, BSTR File,
                                          LONG* result) noexcept = 0;
  // All documents of such a file, in their order, with labels and times. Error 5 names the line that is
  // wrong. It goes on with a file that begins with the lines that were imported, whatever its name.
  virtual HRESULT CORVANE_CALL raw_Import(BSTR File, BSTR ToQueue, LONG* result) noexcept = 0;
  // Deletes documents of a journal: those acknowledged longer ago than that, and of the first ones as many as
  // are too many, or too large together. -1 for no such bound.
  virtual HRESULT CORVANE_CALL raw_Prune(BSTR Queue, LONG OlderThanSeconds, LONG KeepCount,
                                         LONG KeepKilobytes, LONG* result) noexcept = 0;
  // The same as a standing rule, kept in the settings: whoever acknowledges documents of the queue through a
  // Queue object applies it, some at a time.
  virtual HRESULT CORVANE_CALL raw_SetJournalRule(BSTR Queue, LONG OlderThanSeconds, LONG KeepCount,
                                                  LONG KeepKilobytes) noexcept = 0;
  // Gives free room of the store back to the disk, while others work.
  virtual HRESULT CORVANE_CALL raw_Compact() noexcept = 0;
  // Error 5 when it holds documents, waiting or in the journal, and they are not to go too.
  virtual HRESULT CORVANE_CALL raw_DeleteQueue(BSTR Queue, VARIANT_BOOL EvenIfNotEmpty) noexcept = 0;
  // Reads all of the store: a sentence for everything that is wrong, each on a line; empty when it is sound.
  virtual HRESULT CORVANE_CALL raw_Verify(BSTR* result) noexcept = 0;
  // Copies both stores and the settings into a directory that is not there yet, while others work.
  virtual HRESULT CORVANE_CALL raw_Backup(BSTR Directory) noexcept = 0;
  // Puts such a copy in the place of what is there. Error 5, and nothing is changed, while processes work
  // with the stores, and for a copy that is damaged, not whole, or of a newer library; nothing is changed
  // either when it fails otherwise, and nothing of it is left. Killed, it is done again.
  virtual HRESULT CORVANE_CALL raw_Restore(BSTR Directory) noexcept = 0;
  // Ends the work that goes on, after its batch: for handlers of evtProgress.
  virtual HRESULT CORVANE_CALL raw_Cancel() noexcept = 0;
  // An Import that goes on where an earlier one was killed, cancelled or failed: how many lines that had
  // dealt with. Set StartsAnew, and Import and Copy forget the earlier ones.
  virtual HRESULT CORVANE_CALL get_Before(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_StartsAnew(VARIANT_BOOL* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_StartsAnew(VARIANT_BOOL value) noexcept = 0;
  // Documents that the last call left alone: how many a receiver held, and the identifiers of damaged ones.
  virtual HRESULT CORVANE_CALL get_Held(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL get_Damaged(BSTR* result) noexcept = 0;
  // Sends a document with the routing fields of a Queue object, in a transaction of its own, and returns its
  // identifier as lists show it. Error 5 for a text that would not be kept whole.
  virtual HRESULT CORVANE_CALL raw_Send(_Queue* Queue, BSTR Document, BSTR* result) noexcept = 0;
  // Whether documents for a queue are compressed from now on (Message Queuing store).
  virtual HRESULT CORVANE_CALL raw_SetCompressMessages(BSTR Queue, VARIANT_BOOL Value) noexcept = 0;
  // What the bytes mean in which the Message Queuing store keeps documents, 65001 for UTF-8. It can be
  // changed while its queues and journals are empty; processes that work with them are to be ended first.
  virtual HRESULT CORVANE_CALL get_CodePage(LONG* result) noexcept = 0;
  virtual HRESULT CORVANE_CALL put_CodePage(LONG value) noexcept = 0;
};

inline constexpr std::array operationsMembers{
    function<&_Operations::raw_NewFilter>(0x60040000, u"NewFilter"),
    function<&_Operations::raw_Statistics>(0x60040001, u"Statistics",
                                           "The Statistics function tells what is in a queue.", {u"Queue"}),
    function<&_Operations::raw_Search>(0x60040002, u"Search", "The Search function finds documents.",
                                       {u"Queue", u"IsJournal", u"Filter"}),
    function<&_Operations::raw_Delete>(0x60040003, u"Delete", "", {u"Queue", u"IsJournal", u"Filter"}),
    function<&_Operations::raw_Acknowledge>(0x60040004, u"Acknowledge", "", {u"Queue", u"Filter"}),
    function<&_Operations::raw_Move>(0x60040005, u"Move", "",
                                     {u"Queue", u"IsJournal", u"ToQueue", u"Filter"}),
    function<&_Operations::raw_Redrive>(0x60040006, u"Redrive", "", {u"Queue", u"Filter"}),
    function<&_Operations::raw_Copy>(0x60040007, u"Copy", "",
                                     {u"Queue", u"IsJournal", u"ToQueue", u"Filter"}),
    function<&_Operations::raw_Export>(0x60040008, u"Export", "",
                                       {u"Queue", u"IsJournal", u"Filter", u"File"}),
    function<&_Operations::raw_Import>(0x60040009, u"Import", "", {u"File", u"ToQueue"}),
    function<&_Operations::raw_Prune>(0x6004000a, u"Prune",
                                      "The Prune function deletes the oldest documents of a journal.",
                                      {u"Queue", u"OlderThanSeconds", u"KeepCount", u"KeepKilobytes"}),
    method<&_Operations::raw_SetJournalRule>(0x60040013, u"SetJournalRule", "",
                                             {u"Queue", u"OlderThanSeconds", u"KeepCount", u"KeepKilobytes"}),
    method<&_Operations::raw_Compact>(0x6004000b, u"Compact"),
    method<&_Operations::raw_DeleteQueue>(0x6004000c, u"DeleteQueue", "", {u"Queue", u"EvenIfNotEmpty"}),
    function<&_Operations::raw_Verify>(0x60040010, u"Verify"),
    method<&_Operations::raw_Backup>(0x60040011, u"Backup", "", {u"Directory"}),
    method<&_Operations::raw_Restore>(0x60040012, u"Restore", "", {u"Directory"}),
    method<&_Operations::raw_Cancel>(0x6004000d, u"Cancel"),
    get<&_Operations::get_Before>(0x68040014, u"Before"),
    get<&_Operations::get_StartsAnew>(0x68040015, u"StartsAnew"),
    let<&_Operations::put_StartsAnew>(0x68040015, u"StartsAnew"),
    get<&_Operations::get_Held>(0x6804000e, u"Held"),
    get<&_Operations::get_Damaged>(0x6804000f, u"Damaged"),
    function<&_Operations::raw_Send>(0x60040016, u"Send",
                                     "The Send function sends a document and returns its identifier.",
                                     {u"Queue", u"Document"}),
    method<&_Operations::raw_SetCompressMessages>(0x60040017, u"SetCompressMessages", "",
                                                  {u"Queue", u"Value"}),
    get<&_Operations::get_CodePage>(0x68040018, u"CodePage"),
    let<&_Operations::put_CodePage>(0x68040018, u"CodePage"),
};

template <>
struct InterfaceTraits<_Operations> {
  static constexpr IID iid = {0xd27cb238, 0x1183, 0x440b, {0x98, 0xef, 0x99, 0x5f, 0x60, 0xf1, 0xe5, 0x57}};
  static constexpr const char16_t* name = u"_Operations";
  static constexpr std::span<const Member> members = operationsMembers;
};

// The event interface of Operations: evtProgress(Done, Total) after each batch, while a call goes on. Total
// is 0 when it is not known. A handler that fails ends the work.
struct __Operations : IDispatch {};
inline constexpr EventDescription evtProgress{
    1, u"evtProgress", {u"Done", u"Total"}, "The evtProgress Event is fired while work goes on."};
template <>
struct InterfaceTraits<__Operations> {
  static constexpr IID iid = {0x84be37c1, 0xce18, 0x45f1, {0x84, 0x3e, 0xdb, 0x79, 0xad, 0x53, 0x96, 0x80}};
  static constexpr const char16_t* name = u"__Operations";
};

inline constexpr CLSID operationsClass = {
    0x1216b6dc, 0x3068, 0x41ec, {0x9f, 0x9d, 0x6b, 0x09, 0xce, 0x72, 0x16, 0xfe}};
inline constexpr CLSID filterClass = {
    0xa8869047, 0xcded, 0x4ab3, {0xaa, 0x0f, 0xc9, 0xed, 0x78, 0x67, 0xf8, 0x65}};
inline constexpr CLSID documentClass = {
    0xcc650109, 0xe9af, 0x44cb, {0x85, 0x9c, 0x8b, 0x0b, 0xa2, 0xa9, 0xb5, 0x6d}};
inline constexpr CLSID documentsClass = {
    0x5595e972, 0xa663, 0x4d65, {0xb8, 0xc3, 0x16, 0x30, 0xd1, 0x2a, 0xa0, 0x41}};
inline constexpr CLSID statisticsClass = {
    0x3717e83b, 0x389b, 0x43d3, {0xa2, 0x2f, 0x7d, 0x0c, 0x62, 0x93, 0x1d, 0x2e}};

}  // namespace CorvaneQueue
