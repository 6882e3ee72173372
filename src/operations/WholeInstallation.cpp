// What operators do with the installation as a whole, and with its settings.
#include "DbUtility.h"
#include "Platform.h"
#include "PublicOperations.h"
#include "StoredText.h"

namespace CorvaneQueue {

namespace {
[[noreturn]] void refuse(const std::u16string& what) {
  throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Operations", what);
}
}  // namespace

String PublicOperations::Verify() {
  const StoreReport report = platform().operations->verify(make<DbUtility>()->QueueStoreType());
  std::u16string lines;
  for (const String& finding : report.findings)
    lines += (lines.empty() ? u"" : u"\n") + std::u16string(finding.view());
  return lines;
}

OperationsAccess::Progress PublicOperations::progressInKilobytes() {
  begin();
  return [this](std::int64_t done, std::int64_t total) {
    constexpr std::int64_t kilobyte = 1024;
    progress(done / kilobyte, total / kilobyte);
    if (isCancelled_) refuse(u"The work has been cancelled; nothing was changed.");
  };
}

void PublicOperations::Backup(StringRef Directory) {
  platform().operations->backUp(fileNamed(Directory), progressInKilobytes());
}

void PublicOperations::Restore(StringRef Directory) {
  store_ = nullptr;  // a session of this object is one too
  platform().operations->restore(fileNamed(Directory), progressInKilobytes());
}

// ---- Settings

void PublicOperations::SetCompressMessages(StringRef Queue, bool Value) {
  Statistics(Queue);  // it must be there
  store_->setCompression(Queue, Value);
}

std::int32_t PublicOperations::CodePage() const { return platform().operations->codePage(); }

void PublicOperations::CodePage_Let(std::int32_t value) {
  const auto session = platform().operations->open(u"msmq");
  for (const String& queue : session->queues()) {
    const QueueContent content = session->content(queue);
    if (content.waiting + content.acknowledged > 0)
      refuse(
          u"The queue " + std::u16string(queue.view()) + u" holds " +
          decimal(content.waiting + content.acknowledged) +
          u" messages in the code page of now, in it or its journal; nothing was changed. Export and delete "
          u"them first.");
  }
  platform().operations->setCodePage(value);
}

}  // namespace CorvaneQueue
