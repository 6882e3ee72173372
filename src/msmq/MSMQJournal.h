// The journal of a Message Queuing queue.
#pragma once

#include "IJournal.h"
#include "JournalForm.h"
#include "MSMQMessages.h"

namespace CorvaneQueue {

class MSMQJournal final : public Object<MSMQJournal, JournalForm<MSMQJournal>, IJournalForm<MSMQJournal>> {
 public:
  static constexpr GUID classIdentity = {
      0xa64f10c9, 0x31d7, 0x4e52, {0xb0, 0x68, 0x5c, 0x8e, 0x12, 0xf7, 0x9d, 0x43}};
  static constexpr const char16_t* className = u"MSMQJournal";

  MSMQJournal();
  ~MSMQJournal();
  // Makes the journal queue of that name and its cursor, which stays empty until Refresh.
  void Initialize(StringRef Name);

  const Ref<MSMQMessages>& Messages() const noexcept { return messages_; }
  // Throws 13 for anything but an MSMQMessages.
  template <class Interface>
  void Messages_Set(const Ref<Interface>& value) {
    messages_ = value ? queryClass<MSMQMessages>(value.get()) : nullptr;
  }
  // Empties the journal queue.
  void Purge();

 private:
  Ref<MSMQQueue> queue_;
  Ref<MSMQMessages> messages_;
};

}  // namespace CorvaneQueue
