// The information object of a queue: names it, creates, deletes and opens it, and has its settings.
#pragma once

#include "Object.h"
#include "QueueService.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue::platform_layer {

class QueueInfo final : public Object<QueueInfo, DispatchForm<IMSMQQueueInfo>> {
 public:
  explicit QueueInfo(std::shared_ptr<QueueService> service) : service_(std::move(service)) {}
  // Of an open queue.
  QueueInfo(std::shared_ptr<QueueService> service, QueueRecord record, String formatName)
      : service_(std::move(service)),
        formatName_(std::move(formatName)),
        record_(std::move(record)),
        isLoaded_(true) {}

  HRESULT STDMETHODCALLTYPE get_PathName(BSTR* result) noexcept final;
  HRESULT STDMETHODCALLTYPE put_PathName(BSTR value) noexcept final;
  HRESULT STDMETHODCALLTYPE get_FormatName(BSTR* result) noexcept final;
  HRESULT STDMETHODCALLTYPE put_FormatName(BSTR value) noexcept final;
  HRESULT STDMETHODCALLTYPE get_IsTransactional(VARIANT_BOOL* result) noexcept final;
  HRESULT STDMETHODCALLTYPE get_Quota(LONG* result) noexcept final;
  HRESULT STDMETHODCALLTYPE put_Quota(LONG value) noexcept final;
  HRESULT STDMETHODCALLTYPE get_Journal(LONG* result) noexcept final;
  HRESULT STDMETHODCALLTYPE put_Journal(LONG value) noexcept final;
  HRESULT STDMETHODCALLTYPE get_JournalQuota(LONG* result) noexcept final;
  HRESULT STDMETHODCALLTYPE put_JournalQuota(LONG value) noexcept final;
  HRESULT STDMETHODCALLTYPE raw_Create(VARIANT* IsTransactional, VARIANT* IsWorldReadable) noexcept final;
  HRESULT STDMETHODCALLTYPE raw_Delete() noexcept final;
  HRESULT STDMETHODCALLTYPE raw_Open(LONG Access, LONG ShareMode, IDispatch** result) noexcept final;
  HRESULT STDMETHODCALLTYPE raw_Update() noexcept final;
  HRESULT STDMETHODCALLTYPE raw_Refresh() noexcept final;

 private:
  QueueAddress address() const;
  String formatName() const;
  void load();
  // For reading; of a queue that does not exist yet, what it will be created with.
  const QueueRecord& settings();
  QueueRecord& changed();

  std::shared_ptr<QueueService> service_;
  String pathName_;
  String formatName_;
  QueueRecord record_;
  bool isLoaded_ = false;
};

}  // namespace CorvaneQueue::platform_layer
