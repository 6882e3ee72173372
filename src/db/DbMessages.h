// The documents of a queue of the database store, or of its journal.
#pragma once

#include "DbMessage.h"
#include "IMessages.h"
#include "KeyedCollection.h"
#include "MessagesForm.h"

namespace CorvaneQueue {

class DbQueue;

// Empty until Refresh; keyed by identifier (19 digits).
class DbMessages final : public Object<DbMessages, MessagesForm<DbMessages>, IMessagesForm<DbMessages>> {
 public:
  static constexpr GUID classIdentity = {
      0xe793294d, 0xadef, 0x4198, {0xb1, 0xb7, 0x39, 0x85, 0xc1, 0x63, 0xb0, 0x7c}};
  static constexpr const char16_t* className = u"DbMessages";

  // Takes the queue's name and whether it is a journal.
  void Initialize(const DbQueue& queue);

  void Refresh();
  // One document of a queue, without reading all of them; null when it is not there.
  static Ref<DbMessage> find(const String& queue, bool isJournal, std::int64_t id);
  Ref<DbMessage> Item(const VARIANT& vntIndexKey) const { return messages_.item(vntIndexKey); }
  std::int32_t Count() const noexcept { return messages_.count(); }
  void Remove(const VARIANT& vntIndexKey) { messages_.remove(vntIndexKey); }
  Ref<IEnumVARIANT> NewEnum() const { return messages_.enumerator(); }

 private:
  String name_;
  bool isJournal_ = false;
  KeyedCollection<DbMessage> messages_;
};

}  // namespace CorvaneQueue
