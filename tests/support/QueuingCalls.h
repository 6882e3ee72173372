// Tests of the Message Queuing back end.
#pragma once

#include "modCompress.h"
#include "MSMQQueue.h"
#include "RecordingTest.h"

namespace CorvaneQueue {

class QueuingCalls : public RecordingTest {
 protected:
  Stepwise<MSMQQueue> queue(bool isJournal = false) {
    const auto made = stepwise<MSMQQueue>();
    made->Initialize(String(u"Orders"), isJournal);
    return made;
  }
  Stepwise<MSMQQueue> orders = queue();
  Subscription client = listening<__MSMQQueue>(orders);
  // A message of the store that stands for one with this number.
  Ref<MSMQMessage> chosen(int number) {
    const auto made = make<MSMQMessage>();
    made->QueueMessage_Set(message(number));
    return made;
  }
  void arrives(int number) {
    prepared(number);
    recorder.arrive();
  }
  void sends(bool isCompressed) {
    const Variant body = call<&IMSMQMessage::get_Body>(recorder.sent);
    if (isCompressed) return step("compressed", modCompress::Decompress(body.get()).get());
    const auto bytes = bytesOf(body.get());
    step("plain", std::string(bytes.begin(), bytes.end()));
  }
};

}  // namespace CorvaneQueue
