// What is done for the store as a whole.
#include "QueueStore.h"
#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

StoreReport QueueStore::check(StoreCheck how) {
  StoreReport report = reportOf(database_, how);
  if (how == StoreCheck::Quick) return report;
  try {
    std::vector<MessageHeader> headers;
    for (const QueueRecord& queue : queues_.all())
      for (const bool isJournal : {false, true}) {
        const Box box{queue.id, isJournal};
        constexpr std::size_t batch = 64;
        for (std::int64_t after = 0;; after = headers.back().position) {
          read(box, after, batch, headers);
          if (headers.empty()) break;
          report.documents += std::ssize(headers);
          for (const MessageHeader& header : headers) try {
              static_cast<void>(body(box, header));
            } catch (const Error& error) {
              report.findings.push_back(u"In " + shownName(queue.address) + u": " +
                                        std::u16string(error.description().view()));
            }
        }
      }
  } catch (const Error& error) {
    report.findings.push_back(error.description());
  }
  return report;
}

std::int64_t QueueStore::compact() {
  constexpr std::string_view ofNone =
      " FROM dbo.mqSummary WHERE NOT EXISTS (SELECT 1 FROM dbo.mqMessage WHERE key BETWEEN firstKey AND lastKey)";
  const std::string count = "SELECT count(*)" + std::string(ofNone);
  const bool isAnyLeft = [&] {
    Statement row = database_.prepare(count);
    return row.step() && row.integer(0) > 0;
  }();
  if (droppedCount_ > 0 || isAnyLeft)
    write(Database::Purpose::Frees, [&] {
      deleteDroppedBodies();
      database_.execute("DELETE" + std::string(ofNone));
    });
  return database_.giveBackSome();
}

}  // namespace CorvaneQueue::platform_layer
