// The information object of a queue: names it, creates, deletes and opens it, and has its settings. They
// read as they are at the moment, whoever changed them; Update stores what was put and nothing else.
#pragma once

#include "Object.h"
#include "QueueService.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue::platform_layer {

class QueueInfo final : public Object<QueueInfo, DispatchForm<IMSMQQueueInfo>> {
 public:
  QueueInfo() = default;
  // Of an open queue.
  QueueInfo(std::shared_ptr<QueueService> service, QueueRecord record, String formatName)
      : service_(std::move(service)),
        formatName_(std::move(formatName)),
        record_(std::move(record)),
        isLoaded_(true) {}

  HRESULT CORVANE_CALL get_PathName(BSTR* result) noexcept final;
  HRESULT CORVANE_CALL put_PathName(BSTR value) noexcept final;
  HRESULT CORVANE_CALL get_FormatName(BSTR* result) noexcept final;
  HRESULT CORVANE_CALL put_FormatName(BSTR value) noexcept final;
  HRESULT CORVANE_CALL get_IsTransactional(VARIANT_BOOL* result) noexcept final;
  HRESULT CORVANE_CALL get_Quota(LONG* result) noexcept final;
  HRESULT CORVANE_CALL put_Quota(LONG value) noexcept final;
  HRESULT CORVANE_CALL get_Journal(LONG* result) noexcept final;
  HRESULT CORVANE_CALL put_Journal(LONG value) noexcept final;
  HRESULT CORVANE_CALL get_JournalQuota(LONG* result) noexcept final;
  HRESULT CORVANE_CALL put_JournalQuota(LONG value) noexcept final;
  HRESULT CORVANE_CALL raw_Create(VARIANT* IsTransactional, VARIANT* IsWorldReadable) noexcept final;
  HRESULT CORVANE_CALL raw_Delete() noexcept final;
  HRESULT CORVANE_CALL raw_Open(LONG Access, LONG ShareMode, IDispatch** result) noexcept final;
  HRESULT CORVANE_CALL raw_Update() noexcept final;
  HRESULT CORVANE_CALL raw_Refresh() noexcept final;

 private:
  // What was put since the last Update or Refresh.
  struct Changes {
    std::optional<bool> keepsJournal;
    std::optional<std::int32_t> quota;
    std::optional<std::int32_t> journalQuota;
    void applyTo(QueueRecord& record) const;
  };

  QueueService& service();
  QueueAddress address() const;
  String formatName() const;
  void name(String pathName, String formatName);
  // The queue as it is now.
  const QueueRecord& current();

  std::shared_ptr<QueueService> service_;  // from the first use on
  String pathName_;
  String formatName_;
  QueueRecord record_;
  bool isLoaded_ = false;
  Changes changes_;
};

}  // namespace CorvaneQueue::platform_layer
