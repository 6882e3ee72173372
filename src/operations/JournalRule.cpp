#include "JournalRule.h"

#include "ErrorReports.h"
#include "Form.h"
#include "Platform.h"

#include <algorithm>
#include <ctime>
#include <iterator>
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
    if (tooMany_ <= 0 && tooLarge_ <= 0 && !isTooOld(document)) continue;
    --tooMany_;
    tooLarge_ -= document.length;
    beyond.push_back(document);
  }
  return beyond;
}

bool BeyondBounds::isTooOld(const StoredDocument& document) const noexcept {
  return hasAge_ && document.acknowledged.value_or(document.sent) < oldest_;
}

// Whether there may be more of them.
bool JournalKeeper::prune(std::u16string_view queue, const JournalBounds& rule) {
  constexpr std::size_t atATime = 500;
  if (!store_ || !store_->isInUse()) store_ = std::make_unique<OperatedStore>();
  StoreOperations& session = store_->session();
  const DocumentList journal = store_->list(queue, true);
  const auto behind = [&](std::int64_t position, std::vector<StoredDocument>& documents) {
    session.read(journal, position, StoreOperations::Direction::Forward, atATime,
                 StoreOperations::Bodies::Left, documents);
    return documents.size() == atATime;
  };
  std::vector<StoredDocument> documents;
  BeyondBounds limits(rule, session.content(journal.queue));
  const bool isLonger = behind(0, documents);
  const std::int64_t last = documents.empty() ? 0 : documents.back().position;
  auto beyond = limits.among(documents);
  bool isMore = beyond.size() == atATime;
  if (isLonger && rule.seconds >= 0) {
    // Many objects that live shortly look everywhere too.
    if (!lookedTo_)
      lookedTo_ = last + Clock::now().time_since_epoch().count() %
                             std::max<std::int64_t>(1, store_->endOf(journal) - last);
    const bool goesOn = behind(std::max(last, *lookedTo_), documents);
    lookedTo_ = goesOn ? documents.back().position : 0;
    const std::size_t atFirst = beyond.size();
    std::ranges::copy_if(documents, std::back_inserter(beyond),
                         [&](const auto& document) { return limits.isTooOld(document); });
    isMore = isMore || beyond.size() > atFirst;
  }
  if (!beyond.empty()) session.change(journal, beyond, Fate::Deleted, journal.queue, {});
  return isMore;
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
