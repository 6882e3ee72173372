#include "MessageBody.h"

#include "Lasting.h"
#include "modCompress.h"
#include "Platform.h"
#include "StoredText.h"

#include <mutex>
#include <set>

namespace CorvaneQueue {

namespace {
constexpr std::int32_t compressedBody = 1;  // AppSpecific
constexpr std::int32_t warningNumber = 100;

// Whether no loss was told of that queue in this process.
bool isFirstLoss(std::u16string_view queue) {
  struct Told {
    std::mutex mutex;
    std::set<std::u16string> queues;
  };
  static Lasting<Told> told;
  const std::lock_guard guard(told->mutex);
  return told->queues.insert(foldCase(queue)).second;
}
}  // namespace

void setBody(const Ref<IMSMQMessage>& message, const Variant& text, const BodyForm& form) {
  if (form.isCompressed) {
    const Variant body = modCompress::Compress(text.get());
    call<&IMSMQMessage::put_Body>(message, body);
    call<&IMSMQMessage::put_AppSpecific>(message, compressedBody);
  } else {
    const auto [body, firstLost] = platform().system->toAnsi(BorrowedText(text.get()).view());
    if (firstLost && isFirstLoss(form.queue))
      form.reports.warned(
          u"SendDocument", warningNumber,
          u"A document for the queue \"" + std::u16string(form.queue.view()) +
              u"\" has characters that are not in the code page of the installation; \"?\" is stored "
              u"in their place. This is told once a process and queue.");
    call<&IMSMQMessage::put_Body>(message, body);
  }
}

void copyBody(const Ref<IMSMQMessage>& from, const Ref<IMSMQMessage>& to, const BodyForm& form) {
  const bool isCompressed = call<&IMSMQMessage::get_AppSpecific>(from) == compressedBody;
  const Variant body = call<&IMSMQMessage::get_Body>(from);
  if (isCompressed == form.isCompressed) {
    call<&IMSMQMessage::put_Body>(to, body);
    if (isCompressed) call<&IMSMQMessage::put_AppSpecific>(to, compressedBody);
  } else if (isCompressed) {
    setBody(to, modCompress::Decompress(body.get()), form);
  } else {
    setBody(to, platform().system->fromAnsi(bytesOf(body.get())), form);
  }
}

}  // namespace CorvaneQueue
