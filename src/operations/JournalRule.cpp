#include "JournalRule.h"

#include "ErrorReports.h"
#include "Form.h"
#include "Platform.h"

#include <ctime>
#include <utility>

namespace CorvaneQueue {

namespace {

struct Bound {
  std::u16string_view key;
  std::int32_t JournalBounds::*value;
};
constexpr Bound bounds[] = {{u"JournalSeconds", &JournalBounds::seconds},
                            {u"JournalCount", &JournalBounds::count},
                            {u"JournalKilobytes", &JournalBounds::kilobytes}};

std::unique_ptr<ConfigurationSettings> settingsOf(std::u16string_view queue) {
  auto settings = platform().host->createConfigurationSettings();
  settings->Application(u"Operations");
  settings->Section(queue);
  return settings;
}

}  // namespace

JournalBounds JournalBounds::of(std::u16string_view queue) {
  JournalBounds rule;
  const auto settings = settingsOf(queue);
  for (const Bound& bound : bounds) rule.*bound.value = toInt32(settings->Read(bound.key, Variant(-1)).get());
  return rule;
}

void JournalBounds::writeFor(std::u16string_view queue) const {
  const auto settings = settingsOf(queue);
  for (const Bound& bound : bounds) settings->Write(bound.key, Variant(this->*bound.value));
}

BeyondBounds::BeyondBounds(const JournalBounds& rule, const QueueContent& content) noexcept
    : hasAge_(rule.seconds >= 0), oldest_(std::time(nullptr) - rule.seconds) {
  constexpr std::int64_t kilobyte = 1024;
  if (rule.count >= 0) tooMany_ = content.acknowledged - rule.count;
  if (rule.kilobytes >= 0) tooLarge_ = content.acknowledgedBytes - rule.kilobytes * kilobyte;
}

std::vector<StoredDocument> BeyondBounds::among(std::span<const StoredDocument> documents) {
  std::vector<StoredDocument> beyond;
  for (const StoredDocument& document : documents) {
    const bool isTooOld = hasAge_ && document.acknowledged.value_or(document.sent) < oldest_;
    if (tooMany_ <= 0 && tooLarge_ <= 0 && !isTooOld) continue;
    --tooMany_;
    tooLarge_ -= document.length;
    beyond.push_back(document);
  }
  return beyond;
}

// Whether there may be more of them.
bool JournalKeeper::prune(std::u16string_view queue, const JournalBounds& rule) {
  constexpr std::size_t atATime = 500;
  if (!store_ || !store_->isInUse()) store_ = std::make_unique<OperatedStore>();
  StoreOperations& session = store_->session();
  const DocumentList journal = store_->list(queue, true);
  std::vector<StoredDocument> first;
  session.read(journal, 0, StoreOperations::Direction::Forward, atATime, StoreOperations::Bodies::Left,
               first);
  const auto beyond = BeyondBounds(rule, session.content(journal.queue)).among(first);
  if (!beyond.empty()) session.change(journal, beyond, Fate::Deleted, journal.queue, {});
  return beyond.size() == atATime;
}

void JournalKeeper::look(std::u16string_view queue) noexcept {
  const auto now = Clock::now();
  if (platform().operations == nullptr) return;
  const KeptErrorInformation kept;
  try {
    const JournalBounds rule = JournalBounds::of(queue);
    constexpr auto soon = std::chrono::milliseconds(100);
    const bool isMore = rule.isAny() && prune(queue, rule);
    due_ = now + (isMore ? Clock::duration(soon) : Clock::duration(pause));
  } catch (...) {
    const Error error = Error::current();
    if (error.number() == StoreError::timeoutExpired)
      return;  // in a transaction of this thread: after its commit
    constexpr auto later = std::chrono::minutes(1);
    due_ = now + later;
    if (!std::exchange(isTold_, true))
      ErrorReports(u"JournalRule", ErrorReports::Naming::InOneCall).noted(queue, error);
  }
}

}  // namespace CorvaneQueue
