// The list of queues of the Message Queuing store.
#pragma once

#include "KeyedCollection.h"
#include "MSMQQueue.h"
#include "OperatingSystem.h"

namespace CorvaneQueue {

// Read from the queue-store directory, which has one file a queue; empty until Refresh or Add; keyed by
// queue name. Errors pass unchanged.
class MSMQQueues final : public Object<MSMQQueues, IQueuesForm<MSMQQueues>> {
 public:
  MSMQQueues();
  ~MSMQQueues() { utility_ = nullptr; }

  // Lists the queues of the configured kind, public or private.
  void Refresh();
  // Asks Message Queuing. Never fails.
  bool Exists(StringRef Name);
  // Creates the queue when it is missing. Throws 457 when the list holds it already.
  Ref<MSMQQueue> Add(StringRef Name);
  Ref<MSMQQueue> Item(const VARIANT& vntIndexKey) const { return queues_.item(vntIndexKey); }
  std::int32_t Count() const noexcept { return queues_.count(); }
  void Remove(const VARIANT& vntIndexKey) { queues_.remove(vntIndexKey); }
  Ref<IEnumVARIANT> NewEnum() const { return queues_.enumerator(); }

 private:
  bool isAtLeastVersion5() const noexcept;
  std::u16string queueStoreDirectory() const;
  String GetQueueNameFromFile(const std::u16string& file) const;
  static std::u16string GetStorePersistentPath(std::u16string byDefault);
  static std::u16string GetSystemPath();
  static bool IsRunningOnWow64();

  Ref<MSMQUtility> utility_;
  KeyedCollection<MSMQQueue> queues_;
  OSVersion osVersion_;
};

}  // namespace CorvaneQueue
