// The classes as a C++ client sees them: handles over the published interfaces, which call the vtable
// and nothing else. create<Queue>() makes an object; copies of a handle refer to the same one. A failed
// call throws an Error; a call through an empty handle throws 91. Texts go in as UTF-8 or UTF-16 and come
// out as String. What each member does, and its errors, stands beside the interface.
#pragma once

#include <CorvaneQueue/create.h>
#include <CorvaneQueue/Queues.h>
#include <CorvaneQueue/text.h>
#include <CorvaneQueue/Utility.h>

#include <iterator>

namespace CorvaneQueue {

// What the handles have in common.
template <class Self, class Interface_>
class Handle {
 public:
  using Interface = Interface_;
  Handle() noexcept = default;
  explicit Handle(Ref<Interface> object) noexcept : object_(std::move(object)) {}
  const Self* operator->() const noexcept { return static_cast<const Self*>(this); }
  explicit operator bool() const noexcept { return static_cast<bool>(object_); }
  // The object behind it.
  const Ref<Interface>& object() const noexcept { return object_; }

 protected:
  template <auto Member, class... A>
  auto invoke(A&&... arguments) const {
    return call<Member>(object_.get(), std::forward<A>(arguments)...);
  }

 private:
  Ref<Interface> object_;
};

// A new object of the class.
template <class Class>
requires requires { Class::registeredName; }
Class create() {
  return Class(create<typename Class::Interface>(Class::registeredName));
}

// Handles one arrived document. Both texts may be changed: what is left in them goes back to the
// queue, and RawDocument becomes its LastDocument.
using ArrivalHandler = std::function<void(String& RawDocument, String& DocumentID)>;

namespace detail {
// A string that an argument refers to, while a handler has it.
class BorrowedArgument {
 public:
  explicit BorrowedArgument(VARIANT& argument) {
    if (argument.vt != (VT_BSTR | VT_BYREF)) throw Error::ofResult(DISP_E_TYPEMISMATCH);
    place_ = argument.pbstrVal;
    text_ = String::adopt(*place_);
  }
  ~BorrowedArgument() { *place_ = std::exchange(*text_.address(), nullptr); }
  BorrowedArgument(const BorrowedArgument&) = delete;
  BorrowedArgument& operator=(const BorrowedArgument&) = delete;
  String& text() noexcept { return text_; }

 private:
  BSTR* place_;
  String text_;
};

// Walks an enumerator of a collection; each element is a handle.
template <class Element>
class ElementIterator {
 public:
  using value_type = Element;
  using difference_type = std::ptrdiff_t;
  using iterator_concept = std::input_iterator_tag;
  ElementIterator() = default;
  explicit ElementIterator(const Ref<IUnknown>& enumerator)
      : enumerator_(query<IEnumVARIANT>(enumerator.get())) {
    ++*this;
  }
  const Element& operator*() const noexcept { return element_; }
  const Element& operator->() const noexcept { return element_; }
  ElementIterator& operator++() {
    Variant next;
    const HRESULT result = enumerator_->Next(1, next.address(), nullptr);
    throwIfFailedPlain(result);
    if (result == S_OK)
      element_ = Element(query<typename Element::Interface>(next.get().punkVal));
    else
      enumerator_ = nullptr;
    return *this;
  }
  void operator++(int) { ++*this; }
  friend bool operator==(const ElementIterator& left, std::default_sentinel_t) noexcept {
    return left.enumerator_ == nullptr;
  }

 private:
  Ref<IEnumVARIANT> enumerator_;
  Element element_;
};
}  // namespace detail

class Message : public Handle<Message, _Message> {
 public:
  using Handle::Handle;
  String ID() const { return invoke<&_Message::get_ID>(); }
  std::int32_t AppSpecific() const { return invoke<&_Message::get_AppSpecific>(); }
  Date ArrivedTime() const { return invoke<&_Message::get_ArrivedTime>(); }
  String Body() const { return toString(invoke<&_Message::get_Body>()); }
  std::int32_t BodyLength() const { return invoke<&_Message::get_BodyLength>(); }
  String Label() const { return invoke<&_Message::get_Label>(); }
  Date SentTime() const { return invoke<&_Message::get_SentTime>(); }
  std::int32_t TimeToAcknowledge() const { return invoke<&_Message::get_TimeToAcknowledge>(); }
};

// Empty until Refresh reads it from the store. A loop over it sees the messages of that moment, whatever
// becomes of the list meanwhile.
class Messages : public Handle<Messages, _Messages> {
 public:
  using Handle::Handle;
  Message Item(std::int32_t position) const { return item(Variant(position)); }
  Message Item(const Text& id) const { return item(Variant(String(StringRef(id)))); }
  std::int32_t Count() const { return invoke<&_Messages::get_Count>(); }
  void Refresh() const { invoke<&_Messages::raw_Refresh>(); }
  void Remove(std::int32_t position) const { remove(Variant(position)); }
  void Remove(const Text& id) const { remove(Variant(String(StringRef(id)))); }
  detail::ElementIterator<Message> begin() const {
    return detail::ElementIterator<Message>(invoke<&_Messages::get_NewEnum>());
  }
  std::default_sentinel_t end() const noexcept { return {}; }

 private:
  Message item(Variant key) const { return Message(invoke<&_Messages::get_Item>(key)); }
  void remove(Variant key) const { invoke<&_Messages::raw_Remove>(key); }
};

class Journal : public Handle<Journal, _Journal> {
 public:
  using Handle::Handle;
  CorvaneQueue::Messages Messages() const {
    return CorvaneQueue::Messages(invoke<&_Journal::get_Messages>());
  }
  void Messages(const CorvaneQueue::Messages& value) const {
    invoke<&_Journal::putref_Messages>(value.object());
  }
  void Purge() const { invoke<&_Journal::raw_Purge>(); }
};

// A property is read without and written with an argument.
class Queue : public Handle<Queue, _Queue> {
 public:
  static constexpr const char16_t* registeredName = u"CorvaneQueue.Queue";
  using Handle::Handle;
  CorvaneQueue::Journal Journal() const { return CorvaneQueue::Journal(invoke<&_Queue::get_Journal>()); }
  void Journal(const CorvaneQueue::Journal& value) const { invoke<&_Queue::putref_Journal>(value.object()); }
  CorvaneQueue::Messages Messages() const { return CorvaneQueue::Messages(invoke<&_Queue::get_Messages>()); }
  void Messages(const CorvaneQueue::Messages& value) const {
    invoke<&_Queue::putref_Messages>(value.object());
  }
  String MsgType() const { return invoke<&_Queue::get_MsgType>(); }
  void MsgType(const Text& value) const { invoke<&_Queue::put_MsgType>(value); }
  String MsgID() const { return invoke<&_Queue::get_MsgID>(); }
  void MsgID(const Text& value) const { invoke<&_Queue::put_MsgID>(value); }
  String Object() const { return invoke<&_Queue::get_Object>(); }
  void Object(const Text& value) const { invoke<&_Queue::put_Object>(value); }
  String ObjectID() const { return invoke<&_Queue::get_ObjectID>(); }
  void ObjectID(const Text& value) const { invoke<&_Queue::put_ObjectID>(value); }
  String Name() const { return invoke<&_Queue::get_Name>(); }
  bool CompressMessages() const { return invoke<&_Queue::get_CompressMessages>(); }
  String LastDocument() const { return invoke<&_Queue::get_LastDocument>(); }
  std::int32_t QueueSize() const { return invoke<&_Queue::get_QueueSize>(); }
  void QueueSize(std::int32_t kilobytes) const { invoke<&_Queue::put_QueueSize>(kilobytes); }
  bool JournalEnabled() const { return invoke<&_Queue::get_JournalEnabled>(); }
  void JournalEnabled(bool value) const { invoke<&_Queue::put_JournalEnabled>(value); }
  std::int32_t JournalQuota() const { return invoke<&_Queue::get_JournalQuota>(); }
  void JournalQuota(std::int32_t kilobytes) const { invoke<&_Queue::put_JournalQuota>(kilobytes); }
  std::int32_t Quota() const { return invoke<&_Queue::get_Quota>(); }
  void Quota(std::int32_t kilobytes) const { invoke<&_Queue::put_Quota>(kilobytes); }
  void ProcessTrace(const Ref<_ProcessTrace>& value) const { invoke<&_Queue::putref_ProcessTrace>(value); }
  void Initialize(const Text& Name, bool IsJournal = false) const {
    invoke<&_Queue::raw_Initialize>(Name, IsJournal);
  }
  bool IsEmpty() const { return invoke<&_Queue::raw_IsEmpty>(); }
  void Purge() const { invoke<&_Queue::raw_Purge>(); }
  void SendMessage(const Message& message) const { invoke<&_Queue::raw_SendMessage>(message.object()); }
  void SendDocument(const Text& RawDocument) const { invoke<&_Queue::raw_SendDocument>(RawDocument); }
  void AcknowledgeMessage(const Message& message) const {
    invoke<&_Queue::raw_AcknowledgeMessage>(message.object());
  }
  void AcknowledgeDocument(const Text& MessageID = u"") const {
    invoke<&_Queue::raw_AcknowledgeDocument>(MessageID);
  }
  void ReceiveEnable() const { invoke<&_Queue::raw_ReceiveEnable>(); }
  void ReceiveDisable() const { invoke<&_Queue::raw_ReceiveDisable>(); }
  Variant BeginTransaction() const { return invoke<&_Queue::raw_BeginTransaction>(); }
  Variant Transaction() const { return invoke<&_Queue::get_Transaction>(); }
  void Transaction(const Variant& value) const { invoke<&_Queue::putref_Transaction>(value); }
  void Commit() const { invoke<&_Queue::raw_Commit>(); }
  void Abort() const { invoke<&_Queue::raw_Abort>(); }
  // An empty handle when nothing waits.
  Message ReceiveNext() const { return Message(invoke<&_Queue::raw_ReceiveNext>()); }

  // Calls the handler for each arrival, inside Apartment::pump() of this thread, as long as the result
  // lives. The next document is announced once this one is acknowledged. An exception of the handler is
  // logged and comes out of pump(); the document is then neither acknowledged nor given up, and nothing more
  // is announced until the caller puts it back,
  //
  //   try {
  //     Apartment::current().pump(timeout);
  //   } catch (const std::exception& error) {
  //     queue->Abort();           // with all that the handler sent through this object
  //     queue->ReceiveDisable();  // so that it also goes on when pump() told that queue or store is gone
  //     queue->ReceiveEnable();   // and it is announced again: wait, or it fails all the time
  //   }
  //
  // or gives up on it, here by moving it to another queue in the same transaction:
  //
  //     rejected->Transaction(queue->Transaction());
  //     rejected->SendDocument(queue->LastDocument());
  //     rejected->Transaction(Variant());
  //     queue->AcknowledgeDocument();
  [[nodiscard]] Subscription evtArrived(ArrivalHandler handler) const {
    return {object().get(), arrivalKind<__Queue>,
            [handler = std::move(handler)](std::span<VARIANT> arguments) {
              detail::BorrowedArgument document(arguments[1]);
              detail::BorrowedArgument identifier(arguments[0]);
              handler(document.text(), identifier.text());
            }};
  }
};

class Queues : public Handle<Queues, _Queues> {
 public:
  static constexpr const char16_t* registeredName = u"CorvaneQueue.Queues";
  using Handle::Handle;
  void Refresh() const { invoke<&_Queues::raw_Refresh>(); }
  bool Exists(const Text& Name) const { return invoke<&_Queues::raw_Exists>(Name); }
  Queue Add(const Text& Name) const { return Queue(invoke<&_Queues::raw_Add>(Name)); }
  Queue Item(std::int32_t position) const { return Queue(invoke<&_Queues::get_Item>(Variant(position))); }
  Queue Item(const Text& Name) const {
    return Queue(invoke<&_Queues::get_Item>(Variant(String(StringRef(Name)))));
  }
  std::int32_t Count() const { return invoke<&_Queues::get_Count>(); }
  void Remove(std::int32_t position) const { invoke<&_Queues::raw_Remove>(Variant(position)); }
  void Remove(const Text& Name) const { invoke<&_Queues::raw_Remove>(Variant(String(StringRef(Name)))); }
  detail::ElementIterator<Queue> begin() const {
    return detail::ElementIterator<Queue>(invoke<&_Queues::get_NewEnum>());
  }
  std::default_sentinel_t end() const noexcept { return {}; }
};

class Utility : public Handle<Utility, _Utility> {
 public:
  static constexpr const char16_t* registeredName = u"CorvaneQueue.Utility";
  using Handle::Handle;
  void Initialize(const Ref<_ProcessTrace>& trace) const { invoke<&_Utility::raw_Initialize>(trace); }
  bool UsesPublicQueues() const { return invoke<&_Utility::get_UsesPublicQueues>(); }
  void UsesPublicQueues(bool value) const { invoke<&_Utility::put_UsesPublicQueues>(value); }
  String IDToString(std::span<const std::uint8_t> ID) const {
    Variant bytes = Variant::bytes(ID);
    return invoke<&_Utility::raw_IDToString>(bytes);
  }
  String ParseQueuePathName(const Text& QueueName) const {
    return invoke<&_Utility::raw_ParseQueuePathName>(QueueName);
  }
  String FormatQueuePathName(const Text& QueueName) const {
    return invoke<&_Utility::raw_FormatQueuePathName>(QueueName);
  }
  void CreateQueue(const Text& QueueName) const { invoke<&_Utility::raw_CreateQueue>(QueueName); }
  bool SupportsPublicQueues() const { return invoke<&_Utility::get_SupportsPublicQueues>(); }
  bool SupportsPrivateQueues() const { return invoke<&_Utility::get_SupportsPrivateQueues>(); }
  String GetBody(const Ref<IMSMQMessage>& message) const {
    IMSMQMessage* given = message.get();
    return toString(invoke<&_Utility::raw_GetBody>(&given));
  }
  String QueueStoreType() const { return invoke<&_Utility::get_QueueStoreType>(); }
  void QueueStoreType(const Text& value) const { invoke<&_Utility::put_QueueStoreType>(value); }
};

}  // namespace CorvaneQueue
