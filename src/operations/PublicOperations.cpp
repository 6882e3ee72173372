#include "PublicOperations.h"

#include "DbUtility.h"
#include "Label.h"
#include "Platform.h"
#include "StoredText.h"
#include "UtcTime.h"

#include <CorvaneQueue/client.h>
#include <algorithm>
#include <ctime>

namespace CorvaneQueue {

namespace {

constexpr const char16_t* source = u"CorvaneQueue.Operations";
[[noreturn]] void refuse(const std::u16string& what) {
  throw Error(ErrorNumber::InvalidArgument, source, what);
}

}  // namespace

Variant PublicStatistics::time(std::optional<std::int64_t> moment) {
  return moment ? Variant(utcDate(*moment)) : Variant();
}

OperatedStore& PublicOperations::store() {
  if (!store_ || !store_->isInUse()) store_ = std::make_shared<OperatedStore>();
  return *store_;
}

// ---- Seeing

Ref<PublicStatistics> PublicOperations::Statistics(StringRef Queue) {
  OperatedStore& used = store();
  return make<PublicStatistics>(String(Queue), used.session().content(used.list(Queue, false).queue),
                                JournalBounds::of(Queue));
}

Ref<PublicDocuments> PublicOperations::Search(StringRef Queue, bool IsJournal, const Ref<_Filter>& Filter) {
  const DocumentList list = store().list(Queue, IsJournal);
  return make<PublicDocuments>(store_, list, PublicFilter::of(Filter));
}

// ---- Working through lists

PublicOperations::~PublicOperations() {
  try {
    forgetEnded();
  } catch (...) {  // then it is asked for once more and does nothing, which Before tells
  }
}

void PublicOperations::forgetEnded() {
  if (ended_) ended_->forget();
  ended_.reset();
}

void PublicOperations::end(ResumableRun&& run) {
  if (!isCancelled_ && run.isNoted()) ended_.emplace(std::move(run));
}

void PublicOperations::begin() {
  forgetEnded();
  isCancelled_ = false;
  before_ = 0;
  held_ = 0;
  damaged_.clear();
}

void PublicOperations::progress(std::int64_t done, std::int64_t total) {
  Variant arguments[] = {Variant(asLong(total)), Variant(asLong(done))};
  VARIANT given[] = {arguments[0].get(), arguments[1].get()};
  const auto failures = fire(evtProgress.id, given);
  if (!failures.empty()) throw Error(failures.front());
}

std::int64_t PublicOperations::note(const Changed& changed) {
  held_ += changed.held;
  damaged_.insert(damaged_.end(), changed.damaged.begin(), changed.damaged.end());
  return changed.done;
}

std::int64_t PublicOperations::forEachBatch(const DocumentList& list, const DocumentFilter& filter,
                                            StoreOperations::Bodies bodies, const Part& part,
                                            const Batch& batch) {
  DocumentReader reader(*store_, list, filter, bodies, StoreOperations::Direction::Forward, part.from);
  reader.endAt(part.last ? *part.last : store_->endOf(list));
  const QueueContent content = store_->session().content(list.queue);
  const std::int64_t total = list.isJournal ? content.acknowledged : content.waiting;
  std::int64_t done = 0;
  std::vector<StoredDocument> documents;
  while (!isCancelled_ && reader.next(batchCount, documents)) {
    if (!documents.empty()) done += batch(documents, reader.position());
    progress(reader.seen(), std::max(total, reader.seen()));
  }
  damaged_.insert(damaged_.end(), reader.damaged().begin(), reader.damaged().end());
  return done;
}

std::int32_t PublicOperations::change(const DocumentList& list, const Ref<_Filter>& filter, Fate fate,
                                      const DocumentList& to) {
  const DocumentFilter chosen = PublicFilter::of(filter);
  StoreOperations& session = store_->session();
  begin();
  if (fate == Fate::Copied) return copy(list, chosen, to);
  return asLong(forEachBatch(list, chosen, StoreOperations::Bodies::Left, {},
                             [&](std::span<const StoredDocument> documents, std::int64_t) {
                               return note(session.change(list, documents, fate, to.queue, {}));
                             }));
}

// What is copied stays where it is: how far a copy has come is noted, so that it can go on.
std::int32_t PublicOperations::copy(const DocumentList& list, const DocumentFilter& filter,
                                    const DocumentList& to) {
  ResumableRun run(store_, "copy",
                   toUtf8(std::u16string(list.queue.view()) + (list.isJournal ? u" journal " : u" ") +
                          std::u16string(to.queue.view()) + u" " + filter.text()),
                   to.queue);
  Part part;
  // Copies that come behind what they are made of are not copied themselves, also when it goes on.
  const bool isIntoItself = !list.isJournal && foldCase(list.queue) == foldCase(to.queue);
  if (isIntoItself) part.last = store_->endOf(list);
  for (const ResumableRun::Place& place : run.earlier()) {
    run.takeUp(place);
    if (startsAnew_) continue;
    part.from = place.position;
    if (!place.mark.empty()) part.last = std::stoll(place.mark);
  }
  const std::string mark = isIntoItself ? std::to_string(*part.last) : std::string();
  const std::int64_t done =
      forEachBatch(list, filter, StoreOperations::Bodies::Left, part,
                   [&](std::span<const StoredDocument> documents, std::int64_t position) {
                     return note(store_->session().change(list, documents, Fate::Copied, to.queue,
                                                          run.noteAt(position, mark)));
                   });
  end(std::move(run));
  return asLong(done);
}

std::int32_t PublicOperations::Delete(StringRef Queue, bool IsJournal, const Ref<_Filter>& Filter) {
  const DocumentList list = store().list(Queue, IsJournal);
  return change(list, Filter, Fate::Deleted, list);
}

std::int32_t PublicOperations::Acknowledge(StringRef Queue, const Ref<_Filter>& Filter) {
  const DocumentList list = store().list(Queue, false);
  return change(list, Filter, Fate::Acknowledged, list);
}

std::int32_t PublicOperations::Move(StringRef Queue, bool IsJournal, StringRef ToQueue,
                                    const Ref<_Filter>& Filter) {
  if (!IsJournal && foldCase(Queue) == foldCase(ToQueue))
    refuse(u"The documents are in the queue \"" + std::u16string(ToQueue.view()) + u"\" already.");
  const DocumentList list = store().list(Queue, IsJournal);
  return change(list, Filter, Fate::Moved, store_->list(ToQueue, false));
}

std::int32_t PublicOperations::Redrive(StringRef Queue, const Ref<_Filter>& Filter) {
  return Move(Queue, true, Queue, Filter);
}

std::int32_t PublicOperations::Copy(StringRef Queue, bool IsJournal, StringRef ToQueue,
                                    const Ref<_Filter>& Filter) {
  const DocumentList list = store().list(Queue, IsJournal);
  return change(list, Filter, Fate::Copied, store_->list(ToQueue, false));
}

std::int32_t PublicOperations::Before() const noexcept { return asLong(before_); }
std::int32_t PublicOperations::Held() const noexcept { return asLong(held_); }

String PublicOperations::Damaged() {
  std::u16string identifiers;
  for (const std::int64_t id : damaged_)
    identifiers += (identifiers.empty() ? u"" : u" ") + std::u16string(store().shownID(id).view());
  return identifiers;
}

String PublicOperations::Send(const Ref<_Queue>& Queue, StringRef Document) {
  if (!Queue) refuse(u"Send needs a Queue object, which says where to and with which fields.");
  const String name = call<&_Queue::get_Name>(Queue);
  const String label = CreateLabel({call<&_Queue::get_MsgType>(Queue), call<&_Queue::get_MsgID>(Queue),
                                    call<&_Queue::get_Object>(Queue), call<&_Queue::get_ObjectID>(Queue)});
  StoredDocument document = store().documentOf(name, label, String(Document));
  document.sent = std::time(nullptr);
  const DocumentList to = store_->list(name, false);
  const auto send = [&] { return store_->session().store(to.queue, {&document, 1}, {}).front(); };
  try {
    return store_->shownID(send());
  } catch (const Error& error) {  // as a Queue object does it
    if (error.number() != ErrorNumber::InvalidArgument || create<Queues>()->Exists(name)) throw;
    create<Utility>()->CreateQueue(name);
    return store_->shownID(send());
  }
}

// ---- Room

std::int32_t PublicOperations::Prune(StringRef Queue, std::int32_t OlderThanSeconds, std::int32_t KeepCount,
                                     std::int32_t KeepKilobytes) {
  const DocumentList list = store().list(Queue, true);
  StoreOperations& session = store_->session();
  begin();
  const JournalBounds bounds{OlderThanSeconds, KeepCount, KeepKilobytes};
  BeyondBounds beyond(bounds, session.content(list.queue));
  const std::int64_t done = forEachBatch(
      list, {}, StoreOperations::Bodies::Left, {},
      [&](std::span<const StoredDocument> documents, std::int64_t) {
        const auto pruned = beyond.among(documents);
        if (pruned.empty() && OlderThanSeconds < 0) isCancelled_ = true;  // the rest may stay
        return pruned.empty() ? 0 : note(session.change(list, pruned, Fate::Deleted, list.queue, {}));
      });
  return asLong(done);
}

void PublicOperations::SetJournalRule(StringRef Queue, std::int32_t OlderThanSeconds, std::int32_t KeepCount,
                                      std::int32_t KeepKilobytes) {
  if (std::min({OlderThanSeconds, KeepCount, KeepKilobytes}) < -1)
    refuse(u"A bound is 0 or more, or -1 for no such bound; nothing was changed.");
  Statistics(Queue);  // it must be there
  JournalBounds{OlderThanSeconds, KeepCount, KeepKilobytes}.writeFor(Queue);
}

void PublicOperations::Compact() {
  begin();
  StoreOperations& session = store().session();
  std::int64_t total = 0;
  while (!isCancelled_) {
    const std::int64_t left = session.compact();
    total = std::max(total, left);
    if (left == 0) break;
    constexpr std::int64_t kilobyte = 1024;
    progress((total - left) / kilobyte, total / kilobyte);
  }
}

void PublicOperations::DeleteQueue(StringRef Queue, bool EvenIfNotEmpty) {
  const DocumentList waiting = store().list(Queue, false);
  StoreOperations& session = store_->session();
  const QueueContent content = session.content(waiting.queue);
  if (content.waiting + content.acknowledged > 0 && !EvenIfNotEmpty)
    refuse(
        u"The queue \"" + std::u16string(Queue.view()) + u"\" holds " + decimal(content.waiting) +
        u" waiting documents and " + decimal(content.acknowledged) +
        u" in its journal; nothing was deleted. Move or delete them first, or delete the queue with them.");
  std::int64_t held = 0;
  for (const bool isJournal : {false, true}) {
    change(store_->list(Queue, isJournal), nullptr, Fate::Deleted, waiting);
    if (isCancelled_) return;
    held += held_;
  }
  if (held > 0)
    refuse(u"Receivers hold " + decimal(held) + u" documents of the queue \"" + std::u16string(Queue.view()) +
           u"\": the others are deleted, the queue stays. End the receivers first.");
  session.removeQueue(waiting.queue);
}

}  // namespace CorvaneQueue
