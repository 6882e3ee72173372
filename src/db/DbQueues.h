// The list of queues of the database store.
#pragma once

#include "DbQueue.h"
#include "DbUtility.h"
#include "KeyedCollection.h"

namespace CorvaneQueue {

// Empty until Refresh or Add; keyed by queue name.
class DbQueues final : public Object<DbQueues, IQueuesForm<DbQueues>> {
 public:
  DbQueues();
  ~DbQueues() = default;

  void Refresh();
  bool Exists(StringRef Name);
  Ref<DbQueue> Add(StringRef Name);
  Ref<DbQueue> Item(const VARIANT& vntIndexKey) const { return queues_.item(vntIndexKey); }
  std::int32_t Count() const noexcept { return queues_.count(); }
  void Remove(const VARIANT& vntIndexKey) { queues_.remove(vntIndexKey); }
  Ref<IEnumVARIANT> NewEnum() const { return queues_.enumerator(); }

 private:
  Ref<DbQueue> append(StringRef name);

  ErrorReports errors_;
  Ref<DbUtility> utility_;
  KeyedCollection<DbQueue> queues_;
};

}  // namespace CorvaneQueue
