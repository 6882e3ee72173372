#include "QueueInfo.h"

#include "OpenQueue.h"

namespace CorvaneQueue::platform_layer {

namespace {

bool truth(const VARIANT* argument) {
  if (argument == nullptr) return false;
  const Variant value(*argument);
  return !value.isOmitted() && toBoolean(value.get());
}

std::int32_t checkedQuota(LONG kilobytes) {
  if (kilobytes < -1)
    throw Error(ErrorNumber::InvalidArgument, queuingSource,
                u"A quota is a number of kilobytes, or -1 for none.");
  return kilobytes;
}

}  // namespace

QueueAddress QueueInfo::address() const {
  if (!formatName_.empty()) return parseFormatName(formatName_);
  return parsePathName(pathName_);
}

String QueueInfo::formatName() const {
  if (!formatName_.empty() || pathName_.empty()) return formatName_;
  return u"DIRECT=OS:" + std::u16string(pathName_.view());
}

void QueueInfo::name(String pathName, String formatName) {
  pathName_ = std::move(pathName);
  formatName_ = std::move(formatName);
  record_ = {};
  isLoaded_ = false;
  changes_ = {};
}

void QueueInfo::Changes::applyTo(QueueRecord& record) const {
  record.keepsJournal = keepsJournal.value_or(record.keepsJournal);
  record.quota = quota.value_or(record.quota);
  record.journalQuota = journalQuota.value_or(record.journalQuota);
}

// Who only looks makes no store.
QueueService& QueueInfo::service() {
  if (!service_) {
    if (!QueueService::isStoreThere()) QueueService::notFound(address());
    service_ = QueueService::current();
  }
  return *service_;
}

const QueueRecord& QueueInfo::current() {
  record_ = isLoaded_ ? service().find(record_.id, record_.address) : service().find(address());
  isLoaded_ = true;
  return record_;
}

HRESULT QueueInfo::get_PathName(BSTR* result) noexcept {
  return answer(result, [&] {
    if (!pathName_.empty() || formatName_.empty()) return pathName_;
    return String(pathNameOf(address()));
  });
}
HRESULT QueueInfo::put_PathName(BSTR value) noexcept {
  return answer([&] { name(String(StringRef(value)), String()); });
}
HRESULT QueueInfo::get_FormatName(BSTR* result) noexcept {
  return answer(result, [&] { return formatName(); });
}
HRESULT QueueInfo::put_FormatName(BSTR value) noexcept {
  return answer([&] { name(String(), String(StringRef(value))); });
}

HRESULT QueueInfo::get_IsTransactional(VARIANT_BOOL* result) noexcept {
  return answer(result, [&] { return isLoaded_ ? record_.isTransactional : current().isTransactional; });
}
HRESULT QueueInfo::get_Quota(LONG* result) noexcept {
  return answer(result, [&] { return changes_.quota ? *changes_.quota : current().quota; });
}
HRESULT QueueInfo::put_Quota(LONG value) noexcept {
  return answer([&] { changes_.quota = checkedQuota(value); });
}
HRESULT QueueInfo::get_Journal(LONG* result) noexcept {
  return answer(result, [&] {
    const bool keepsJournal = changes_.keepsJournal ? *changes_.keepsJournal : current().keepsJournal;
    return keepsJournal ? MQ_JOURNAL : MQ_JOURNAL_NONE;
  });
}
HRESULT QueueInfo::put_Journal(LONG value) noexcept {
  return answer([&] {
    if (value != MQ_JOURNAL && value != MQ_JOURNAL_NONE)
      throw Error(ErrorNumber::InvalidArgument, queuingSource, u"Journal is 0 (none) or 1.");
    changes_.keepsJournal = value == MQ_JOURNAL;
  });
}
HRESULT QueueInfo::get_JournalQuota(LONG* result) noexcept {
  return answer(result,
                [&] { return changes_.journalQuota ? *changes_.journalQuota : current().journalQuota; });
}
HRESULT QueueInfo::put_JournalQuota(LONG value) noexcept {
  return answer([&] { changes_.journalQuota = checkedQuota(value); });
}

HRESULT QueueInfo::raw_Create(VARIANT* IsTransactional, VARIANT* IsWorldReadable) noexcept {
  return answer([&] {
    QueueRecord created;
    created.address = address();
    changes_.applyTo(created);
    if (created.address.isJournal)
      queuingFailed(MQ_ERROR_ILLEGAL_FORMATNAME, u"A journal is created with its queue, not by itself.");
    created.isTransactional = truth(IsTransactional);
    created.isWorldReadable = truth(IsWorldReadable);
    if (!service_) service_ = QueueService::current();
    service_->create(created);
    isLoaded_ = false;
    changes_ = {};
  });
}
HRESULT QueueInfo::raw_Delete() noexcept {
  return answer([&] {
    if (address().isJournal)
      queuingFailed(MQ_ERROR_ILLEGAL_FORMATNAME,
                    u"A journal is deleted with its queue, not by itself; purge it.");
    service().remove(address());
    isLoaded_ = false;
  });
}

HRESULT QueueInfo::raw_Open(LONG Access, LONG ShareMode, IDispatch** result) noexcept {
  return answer(result, [&] {
    if (Access != MQ_RECEIVE_ACCESS && Access != MQ_SEND_ACCESS && Access != MQ_PEEK_ACCESS)
      throw Error(ErrorNumber::InvalidArgument, queuingSource,
                  u"Access is 1 (receive), 2 (send) or 32 (peek).");
    if (ShareMode != MQ_DENY_NONE)
      throw Error(ErrorNumber::InvalidArgument, queuingSource,
                  u"ShareMode is 0: a queue is always shared with other processes.");
    const QueueRecord queue = service().find(address());
    return make<OpenQueue>(service_, queue, Access, formatName());
  });
}

HRESULT QueueInfo::raw_Update() noexcept {
  return answer([&] {
    service().update(current(), [&](QueueRecord& queue) { changes_.applyTo(queue); });
    changes_ = {};
  });
}
HRESULT QueueInfo::raw_Refresh() noexcept {
  return answer([&] {
    changes_ = {};
    current();
  });
}

}  // namespace CorvaneQueue::platform_layer
