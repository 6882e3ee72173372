// The messages of a Message Queuing queue, or of its journal.
#pragma once

#include "IMessages.h"
#include "KeyedCollection.h"
#include "MessagesForm.h"
#include "MSMQMessage.h"

namespace CorvaneQueue {

class MSMQQueue;

// A snapshot, taken by peeking from the first to the last message; empty until Refresh. Keyed by the
// text of the identifier.
class MSMQMessages final
    : public Object<MSMQMessages, MessagesForm<MSMQMessages>, IMessagesForm<MSMQMessages>> {
 public:
  static constexpr GUID classIdentity = {
      0x2d7be8a4, 0x9e61, 0x4c0b, {0x8d, 0x1e, 0x37, 0x5f, 0xa9, 0x0b, 0xc6, 0x14}};
  static constexpr const char16_t* className = u"MSMQMessages";

  MSMQMessages() : utility_(make<MSMQUtility>()) {}
  ~MSMQMessages() { utility_ = nullptr; }

  // Takes the queue's name and whether it is a journal.
  void Initialize(const MSMQQueue& queue);

  void Refresh();
  // One message of a queue, without reading all of them; null when it is not there.
  static Ref<MSMQMessage> find(const String& queue, bool isJournal, std::int64_t number);
  Ref<MSMQMessage> Item(const VARIANT& vntIndexKey) const { return messages_.item(vntIndexKey); }
  std::int32_t Count() const noexcept { return messages_.count(); }
  void Remove(const VARIANT& vntIndexKey) { messages_.remove(vntIndexKey); }
  Ref<IEnumVARIANT> NewEnum() const { return messages_.enumerator(); }

 private:
  Ref<MSMQMessage> Add(Ref<IMSMQMessage> queueMessage);

  Ref<MSMQUtility> utility_;
  String name_;
  bool isJournal_ = false;
  KeyedCollection<MSMQMessage> messages_;
};

}  // namespace CorvaneQueue
