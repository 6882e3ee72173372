// The public list of queues: a facade over the list of the configured store.
#pragma once

#include "IQueues.h"
#include "Object.h"
#include "QueuesForm.h"

namespace CorvaneQueue {

// Filled at construction, which fails when the store's list cannot be read. Errors of that list reach
// the client unchanged.
class PublicQueues final : public Object<PublicQueues, QueuesForm<PublicQueues>> {
 public:
  PublicQueues();
  ~PublicQueues() = default;

  void Refresh() { call<&IQueues::raw_Refresh>(queues_); }
  bool Exists(StringRef Name) { return call<&IQueues::raw_Exists>(queues_, Name); }
  Ref<IQueue> Add(StringRef Name) { return call<&IQueues::raw_Add>(queues_, Name); }
  Ref<IQueue> Item(const VARIANT& vntIndexKey) { return call<&IQueues::get_Item>(queues_, vntIndexKey); }
  std::int32_t Count() { return call<&IQueues::get_Count>(queues_); }
  void Remove(const VARIANT& vntIndexKey) { call<&IQueues::raw_Remove>(queues_, vntIndexKey); }
  Ref<IUnknown> NewEnum() { return call<&IQueues::get_NewEnum>(queues_); }

 private:
  Ref<IQueues> queues_;
};

}  // namespace CorvaneQueue
