#include "QueueService.h"

#include "CodePageOfStore.h"
#include "InstallationDirectory.h"
#include "Lasting.h"
#include "Log.h"
#include "Process.h"
#include "StoredText.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue::platform_layer {

std::shared_ptr<QueueService> QueueService::current() {
  static Lasting<PerThread<std::weak_ptr<QueueService>>> services;
  auto& kept = services->current();
  const std::filesystem::path& installation = installationDirectory();
  auto service = kept.lock();
  if (!service || service->installation_.native() != installation.native() ||
      service->process_ != processNumber() || !service->wasThereJustNow())
    kept = service = std::make_shared<QueueService>(installation);
  return service;
}

QueueService::QueueService(std::filesystem::path installation)
    : installation_(std::move(installation)),
      storage_(makeDirectory(installation_ / "msmq" / "storage")),
      opened_(FileState::of(storage_)),
      process_(processNumber()),
      files_(storage_),
      counts_(storage_ / "generation"),
      reader_(storage_ / "messages.locks", counts_),
      ownLocks_(storage_ / "messages.locks"),
      signals_(makeDirectory(storage_ / "signals"), counts_) {
  try {
    prepare();
  } catch (const NotPermitted&) {
    store();  // who may only read finds everything made, or does without it
  }
}

void QueueService::prepare() {
  makeDirectory(storage_ / "lqs");
  recordCodePage(installation_);
  // A process may die between the store and the files that tell of it.
  if (!files_.areThoseOf(store().queues().all()))
    write(
        Database::Purpose::Frees, [&] { files_.reconcile(store().queues().all()); }, [] {});
  registerDirectory(installation_, storage_);
}

bool QueueService::isStoreThere() {
  std::error_code ignored;
  const std::filesystem::path file = installationDirectory() / "msmq" / "storage" / QueueStore::fileName;
  std::filesystem::path restoring = file;
  restoring += restoringTail;
  return std::filesystem::exists(file, ignored) || std::filesystem::exists(restoring, ignored);
}

QueueStore& QueueService::store() {
  if (!store_ || !store_->isUsable()) {
    mustBeThere();  // another directory would need other locks too
    reader_.forgetFirst();
    store_.emplace(storage_);
    if (store_->isFirst()) counts_.countWaitingAnew(signals_.isWatching() ? 1 : 0);
    openedStore_ = FileState::of(storage_ / QueueStore::fileName);
  }
  return *store_;
}

bool QueueService::isThere() const noexcept {
  return FileState::ifThere(storage_).isSameFile(opened_) &&
         (openStoresStay || !store_ ||
          FileState::ifThere(storage_ / QueueStore::fileName).isSameFile(openedStore_));
}
void QueueService::mustBeThere() const {
  if (!isThere())
    throw Error(E_FAIL, queuingSource,
                u"The directory \"" + shownPath(storage_) +
                    u"\" has been removed or replaced since this process opened it; nothing was stored. "
                    u"Initialize the queue again, or restart the program.");
}

void QueueService::write(Database::Purpose purpose, const std::function<void()>& work,
                         const std::function<void()>& onceStored, Order order) {
  const auto stored = [&] {
    counts_.addStored();
    if (order == Order::Changes) {
      held();  // what others have read ahead may be gone
      reader_.forgetFirst();
    }
    onceStored();
  };
  try {
    store().write(purpose, work);
  } catch (const SyncFailed&) {
    stored();
    throw;
  }
  stored();
  for (const QueueAddress& journal : store().trimmedJournals())
    if (toldJournals_.insert(shownName(journal)).second)
      warnInLog(
          u"MessageQueuing", u"Journal",
          u"The journal of " + shownName(journal) + u" is over its quota: its oldest messages are deleted.",
          MQ_ERROR_INSUFFICIENT_RESOURCES);
}

// ---- Messages

void QueueService::missing(const MessageHeader& header, std::int64_t& before) {
  reader_.forgetFirst();
  if (std::exchange(before, header.position) == header.position) damagedMessage(header.id);
}

QueueService::Received QueueService::receive(Box box, std::int64_t position, Where where, Body wanted,
                                             TransactionWork* transaction) {
  if (transaction != nullptr && !transaction->locks) transaction->locks = newLocks();
  MessageLocks& locks = transaction != nullptr ? *transaction->locks : ownLocks_;
  bool isAnyHeldUp = false;
  std::int64_t missed = 0;
  while (true) {
    Received received;
    if (where == Where::Exactly)
      received.sight.message = visibleAt(box, position);
    else if (position != 0 || !(received.sight.message = reader_.lastFirst(box)))
      received.sight = firstVisible(box, position);
    const auto& header = received.sight.message;
    received.sight.isHeldUp = received.sight.isHeldUp || isAnyHeldUp;
    if (!header) return received;
    if (!locks.tryLock(box.number(), header->position)) {  // somebody was faster
      reader_.forgetFirst();
      isAnyHeldUp = true;
      continue;
    }
    const bool isCertain = reader_.isCertain(box, header->position);
    reader_.hold(box, header->position);
    const Taken taken{box, header->position, header->id};
    try {
      // Who took it for good before this lock has also stored that.
      if (wanted == Body::Wanted)
        received.body =
            isCertain && header->content.body ? store().bodyBeside(box, *header) : body(box, *header);
      const bool isThere = wanted == Body::Wanted
                               ? received.body != nullptr
                               : isCertain || store().contains(box, taken.position, taken.position);
      if (!isThere) {
        locks.unlock(box.number(), taken.position);
        missing(*header, missed);
        continue;
      }
      if (transaction != nullptr) {
        closeGap(*transaction, taken);
        transaction->taken.push_back(taken);
        return received;
      }
      bool isJournaled = false;
      write(
          Database::Purpose::Frees, [&] { isJournaled = store().take(taken); },
          [&] {
            locks.unlock(box.number(), taken.position);
            if (isJournaled) signals_.signal(Box{box.queue, true}.number());
          },
          Order::Stays);
      return received;
    } catch (...) {
      reader_.forgetFirst();
      locks.unlock(box.number(), taken.position);
      throw;
    }
  }
}

// A message that is taken behind another one is held together with the places between them where no message
// is: one range in place of two.
void QueueService::closeGap(const TransactionWork& work, const Taken& next) {
  if (work.taken.empty() || work.taken.back().box != next.box) return;
  const ByteRange gap{work.taken.back().position + 1, next.position - 1};
  if (gap.from <= gap.to && !store().contains(next.box, gap.from, gap.to))
    static_cast<void>(work.locks->tryLock(next.box.number(), gap));
}

void QueueService::send(const Outgoing& message) {
  write(
      Database::Purpose::Stores, [&] { store().put(message); },
      [&] {
        signals_.signal(Box{message.queue, false}.number());
      },
      Order::Stays);
}

void QueueService::keepBack(TransactionWork& work, Outgoing message, const QueueRecord& queue) {
  const auto size = static_cast<std::int64_t>(message.content.bytes().size());
  if (!queue.fits(work.sentBytes[queue.id] + size)) overQuota(queue);
  work.sentBytes[queue.id] += size;
  work.sent.push_back(std::move(message));
}

std::unique_ptr<MessageLocks> QueueService::newLocks() {
  if (spareLocks_) return std::move(spareLocks_);
  return std::make_unique<MessageLocks>(storage_ / "messages.locks");
}

void QueueService::release(TransactionWork& work) noexcept {
  if (work.locks) work.locks->unlockAll();
  spareLocks_ = std::move(work.locks);
  work.taken.clear();
  work.sent.clear();
  work.sentBytes.clear();
  work.isOver = true;
}

void QueueService::commit(TransactionWork& work) {
  std::set<std::int64_t> signalled;
  const auto storeAll = [&] {
    signalled.clear();
    for (const Taken& taken : work.taken)
      if (store().take(taken)) signalled.insert(Box{taken.box.queue, true}.number());
    for (const Outgoing& message : work.sent) {
      store().put(message);
      signalled.insert(Box{message.queue, false}.number());
    }
  };
  const auto onceStored = [&] {
    release(work);
    for (const std::int64_t box : signalled) signals_.signal(box);
  };
  if (!work.sent.empty())
    write(Database::Purpose::Stores, storeAll, onceStored, Order::Stays);
  else if (!work.taken.empty())
    write(Database::Purpose::Frees, storeAll, onceStored, Order::Stays);
  else
    onceStored();
}

void QueueService::abort(TransactionWork& work) noexcept {
  std::set<std::int64_t> signalled;
  for (const Taken& taken : work.taken) signalled.insert(taken.box.number());
  reader_.forgetFirst();
  release(work);
  for (const std::int64_t box : signalled) signals_.signal(box);
}

}  // namespace CorvaneQueue::platform_layer
