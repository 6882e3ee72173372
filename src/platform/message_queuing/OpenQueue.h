// An open queue: a handle with a cursor of its own.
#pragma once

#include "QueueInfo.h"
#include "QueueTransaction.h"

namespace CorvaneQueue::platform_layer {

class OpenQueue final : public Object<OpenQueue, DispatchForm<IMSMQQueue>, IMSMQQueueSeek> {
 public:
  static constexpr IID classIdentity = {
      0xd5b2a1f0, 0x8a2b, 0x4c0e, {0xa0, 0x3b, 0x5f, 0x1e, 0x6c, 0x92, 0x77, 0x18}};
  static constexpr const char16_t* className = u"Message Queuing queue";

  OpenQueue(std::shared_ptr<QueueService> service, QueueRecord queue, LONG access, String formatName);

  HRESULT CORVANE_CALL get_QueueInfo(IMSMQQueueInfo** result) noexcept final;
  HRESULT CORVANE_CALL raw_Reset() noexcept final;
  HRESULT CORVANE_CALL raw_Close() noexcept final;
  HRESULT CORVANE_CALL raw_PeekCurrent(VARIANT* WantDestinationQueue, VARIANT* WantBody,
                                       VARIANT* ReceiveTimeout, IMSMQMessage** result) noexcept final;
  HRESULT CORVANE_CALL raw_PeekNext(VARIANT* WantDestinationQueue, VARIANT* WantBody, VARIANT* ReceiveTimeout,
                                    IMSMQMessage** result) noexcept final;
  HRESULT CORVANE_CALL raw_Peek(VARIANT* WantDestinationQueue, VARIANT* WantBody, VARIANT* ReceiveTimeout,
                                IMSMQMessage** result) noexcept final;
  HRESULT CORVANE_CALL raw_Receive(VARIANT* Transaction, VARIANT* WantDestinationQueue, VARIANT* WantBody,
                                   VARIANT* ReceiveTimeout, IMSMQMessage** result) noexcept final;
  HRESULT CORVANE_CALL raw_ReceiveCurrent(VARIANT* Transaction, VARIANT* WantDestinationQueue,
                                          VARIANT* WantBody, VARIANT* ReceiveTimeout,
                                          IMSMQMessage** result) noexcept final;
  HRESULT CORVANE_CALL raw_EnableNotification(IMSMQEvent* Event, VARIANT* Cursor,
                                              VARIANT* ReceiveTimeout) noexcept final;

  HRESULT CORVANE_CALL raw_SeekMessage(IMSMQMessage* Message, VARIANT_BOOL* result) noexcept final;
  HRESULT CORVANE_CALL raw_SeekNumber(LONG Number, VARIANT_BOOL* result) noexcept final;

  void send(MessageContent message, const TransactionArgument& transaction);

 private:
  // Before the first message; on one; or on whatever follows a place whose message was received.
  struct Cursor {
    enum class State { BeforeFirst, On, Behind };
    State state = State::BeforeFirst;
    std::int64_t position = 0;
  };
  enum class Of { Cursor, Queue };
  using Attempt = std::function<Prospect()>;

  void mustAllow(bool isAllowed, std::u16string_view what) const;
  void mustRead(std::u16string_view what) const { mustAllow(access_ != MQ_SEND_ACCESS, what); }
  // Tries until it succeeds or the time has passed.
  bool attempt(const VARIANT* timeout, const Attempt& attempt);
  Sight visibleBehind(std::int64_t position);
  Sight current();
  Sight next();
  // `Of::Cursor` moves the cursor onto what is found.
  Ref<IMSMQMessage> peek(Of which, const VARIANT* wantBody, const VARIANT* timeout,
                         const std::function<Sight()>& find);
  Ref<IMSMQMessage> receive(Of which, const VARIANT* transaction, const VARIANT* wantBody,
                            const VARIANT* timeout);
  [[noreturn]] void alreadyReceived() const;

  std::shared_ptr<QueueService> service_;
  QueueRecord queue_;
  std::uint64_t queueGeneration_ = ~std::uint64_t{0};  // when it was read
  Box box_;
  LONG access_;
  Ref<QueueInfo> info_;
  Cursor cursor_;
  ReadAhead ahead_;
  bool isOpen_ = true;
};

}  // namespace CorvaneQueue::platform_layer
