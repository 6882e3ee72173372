// The queues of the service: made, found, changed and removed.
#include "QueueService.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue::platform_layer {

void QueueService::create(const QueueRecord& queue) {
  QueueRecord created = queue;
  bool isStored = false;
  try {
    write(
        Database::Purpose::Stores,
        [&] {
          created.id = store().queues().create(queue);
          files_.write(created);
        },
        [&] { isStored = true; });
  } catch (...) {
    if (!isStored && created.id != 0) files_.remove(created.id);
    throw;
  }
}

void QueueService::notFound(const QueueAddress& address) {
  queuingFailed(MQ_ERROR_QUEUE_NOT_FOUND, u"There is no queue " + shownName(address) + u"; create it first.");
}

QueueRecord QueueService::find(const QueueAddress& address) {
  auto found = store().queues().find(address);
  if (!found) notFound(address);
  found->address.isJournal = address.isJournal;
  return *found;
}

QueueRecord QueueService::find(std::int64_t queue, const QueueAddress& address) {
  auto found = store().queues().find(queue);
  if (!found)
    queuingFailed(MQ_ERROR_QUEUE_DELETED,
                  u"The queue " + shownName(address) + u" has been deleted since it was opened.");
  found->address.isJournal = address.isJournal;
  return *found;
}

void QueueService::update(const QueueRecord& queue, const std::function<void(QueueRecord&)>& change) {
  QueueRecord before;
  bool isStored = false;
  try {
    write(
        Database::Purpose::Stores,
        [&] {
          QueueRecord now = before = find(queue.id, queue.address);
          change(now);
          store().update(now);
          files_.write(now);
        },
        [&] { isStored = true; });
  } catch (...) {
    if (!isStored && before.id != 0) try {
        files_.write(before);
      } catch (const Error&) {  // the error on its way says enough
      }
    throw;
  }
}

void QueueService::remove(const QueueAddress& address, const std::function<void()>& check) {
  const QueueRecord queue = find(address);
  write(
      Database::Purpose::Frees, [&] { check(), store().remove(queue.id); },
      [&] {
        files_.remove(queue.id);
        for (const bool isJournal : {false, true}) {
          signals_.signal(Box{queue.id, isJournal}.number());
          signals_.forget(Box{queue.id, isJournal}.number());
        }
      });
}

}  // namespace CorvaneQueue::platform_layer
