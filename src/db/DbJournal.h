// The journal of a queue of the database store: its acknowledged documents.
#pragma once

#include "DbMessages.h"
#include "IJournal.h"
#include "JournalForm.h"

namespace CorvaneQueue {

class DbJournal final : public Object<DbJournal, JournalForm<DbJournal>, IJournalForm<DbJournal>> {
 public:
  static constexpr GUID classIdentity = {
      0x685c9b2c, 0x43df, 0x49e7, {0x9c, 0x95, 0x1c, 0x76, 0x9f, 0xdf, 0x27, 0xe7}};
  static constexpr const char16_t* className = u"DbJournal";

  DbJournal();
  ~DbJournal();
  // Makes the journal queue of that name and its list, which stays empty until Refresh.
  void Initialize(StringRef Name);

  const Ref<DbMessages>& Messages() const noexcept { return messages_; }
  // Throws 13 for anything but a DbMessages.
  template <class Interface>
  void Messages_Set(const Ref<Interface>& value) {
    messages_ = value ? queryClass<DbMessages>(value.get()) : nullptr;
  }
  // Deletes every acknowledged document of the queue.
  void Purge();

 private:
  Ref<DbQueue> queue_;
  Ref<DbMessages> messages_;
};

}  // namespace CorvaneQueue
