// What client tests need of the public object model, in short words.
#pragma once

#include <CorvaneQueue/CorvaneQueue.h>
#include <string>
#include <vector>

namespace client {

using namespace CorvaneQueue;

inline Ref<_Queue> openQueue(const char16_t* name) {
  const auto queue = create<_Queue>(u"CorvaneQueue.Queue");
  call<&_Queue::raw_Initialize>(queue, name, false);
  return queue;
}
inline Ref<_Queues> openQueues() { return create<_Queues>(u"CorvaneQueue.Queues"); }
inline Ref<_Queue> listed(const char16_t* name) {
  return call<&_Queues::get_Item>(openQueues(), Variant(name));
}
inline void send(const Ref<_Queue>& queue, std::u16string_view document) {
  call<&_Queue::raw_SendDocument>(queue, document);
}
inline Ref<_Message> receive(const Ref<_Queue>& queue) { return call<&_Queue::raw_ReceiveNext>(queue); }
inline std::u16string bodyOf(const Ref<_Message>& message) {
  return std::u16string(toString(call<&_Message::get_Body>(message)).view());
}
inline String idOf(const Ref<_Message>& message) { return call<&_Message::get_ID>(message); }
inline void acknowledge(const Ref<_Queue>& queue, const Ref<_Message>& message) {
  call<&_Queue::raw_AcknowledgeDocument>(queue, idOf(message));
}
inline Ref<_Message> at(const Ref<_Messages>& messages, Variant key) {
  return call<&_Messages::get_Item>(messages, key);
}
// The bodies of a list, refreshed.
inline std::vector<std::u16string> bodies(const Ref<_Messages>& messages) {
  call<&_Messages::raw_Refresh>(messages);
  std::vector<std::u16string> found;
  const auto unknown = call<&_Messages::get_NewEnum>(messages);
  const auto enumerator = query<IEnumVARIANT>(unknown.get());
  VARIANT element;
  while (enumerator->Next(1, &element, nullptr) == S_OK) {
    const auto message = query<_Message>(element.pdispVal);
    VariantClear(&element);
    found.push_back(bodyOf(message));
  }
  return found;
}
inline std::vector<std::u16string> waiting(const char16_t* queue) {
  return bodies(call<&_Queue::get_Messages>(listed(queue)));
}
inline std::vector<std::u16string> journaled(const char16_t* queue) {
  return bodies(call<&_Journal::get_Messages>(call<&_Queue::get_Journal>(listed(queue))));
}

}  // namespace client
