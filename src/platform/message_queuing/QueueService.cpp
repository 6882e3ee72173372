#include "QueueService.h"

#include "CodePageOfStore.h"
#include "Lasting.h"
#include "Log.h"
#include "SharedPage.h"
#include "Text.h"
#include "TomlFile.h"

#include <CorvaneQueue/MessageQueuing.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fstream>

namespace CorvaneQueue::platform_layer {

namespace {

// A batch read ahead is not used for longer: its validity hangs on writers that may die.
constexpr auto longestReadAhead = std::chrono::milliseconds(50);
constexpr std::size_t readAheadCount = 64;

const std::filesystem::path& made(const std::filesystem::path& directory) {
  makeDirectory(directory);
  return directory;
}

// One of the service's own; what somebody else has put there is left alone.
bool isQueueFile(const std::filesystem::directory_entry& entry) {
  const std::string name = entry.path().filename().string();
  std::error_code ignored;
  if (name.size() < 8 || name.find_first_not_of("0123456789abcdef") != std::string::npos ||
      !entry.is_regular_file(ignored))
    return false;
  std::string line;
  std::getline(std::ifstream(entry.path(), std::ios::binary), line);
  return line == "[Properties]\r";
}

// Blanks at the ends would get lost without the quotes.
std::string fileValue(std::u16string_view text) {
  const std::string value = toUtf8(text);
  const bool isBare = value.empty() || (value.front() != ' ' && value.back() != ' ' && value.front() != '"' &&
                                        value.front() != '\'');
  return isBare ? value : '"' + value + '"';
}

}  // namespace

// Counts of what all processes have done.
class QueueService::SharedCounts {
 public:
  explicit SharedCounts(const std::filesystem::path& file)
      : opened_(FileDescriptor::ifPermitted(file, O_RDWR | O_CREAT)), counts_(opened_, file) {}
  // Of everything that was stored.
  std::uint64_t stored() const noexcept { return counts().stored.load(std::memory_order_acquire); }
  void addStored() noexcept { counts().stored.fetch_add(1, std::memory_order_acq_rel); }
  // Of every message that was held.
  std::uint64_t held() const noexcept { return counts().held.load(std::memory_order_acquire); }
  void addHeld() noexcept { counts().held.fetch_add(1, std::memory_order_acq_rel); }

 private:
  struct Counts {
    std::atomic<std::uint64_t> stored;
    std::atomic<std::uint64_t> held;
  };
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
  Counts& counts() const noexcept {
    counts_.mend();
    return *counts_.get();
  }
  FileDescriptor opened_;
  SharedPage<Counts> counts_;
};

std::shared_ptr<QueueService> QueueService::current() {
  static Lasting<PerThread<std::weak_ptr<QueueService>>> services;
  auto& kept = services->current();
  const std::filesystem::path& installation = installationDirectory();
  auto service = kept.lock();
  if (!service || service->installation_.native() != installation.native() ||
      service->process_ != ::getpid() || !service->isThere())
    kept = service = std::make_shared<QueueService>(installation);
  return service;
}

QueueService::QueueService(std::filesystem::path installation)
    : installation_(std::move(installation)),
      storage_(made(installation_ / "msmq" / "storage")),
      process_(::getpid()),
      looking_(storage_ / "messages.locks"),
      momentary_(storage_ / "messages.locks"),
      signals_(made(storage_ / "signals")),
      counts_(std::make_shared<SharedCounts>(storage_ / "generation")) {
  if (::stat(storage_.c_str(), &opened_) != 0) throwSystemError(u"Opening", storage_);
  try {
    prepare();
  } catch (const NotPermitted&) {
    store();  // who may only read finds everything made, or does without it
  }
}

void QueueService::prepare() {
  made(storage_ / "lqs");
  recordCodePage(installation_);
  store();
  reconcileQueueFiles();
  TomlFile registry;
  const TomlFile::Address address{u"LocalMachine", u"SOFTWARE\\Microsoft\\MSMQ\\Parameters",
                                  u"StorePersistentPath"};
  const std::u16string path = storage_.u16string();
  const auto registered = registry.read(installation_ / "registry.toml", address);
  if (!registered || toString(registered->get()).view() != path)
    registry.write(installation_ / "registry.toml", address, Variant(String(path)));
}

bool QueueService::isStoreThere() {
  std::error_code ignored;
  return std::filesystem::exists(installationDirectory() / "msmq" / "storage" / QueueStore::fileName,
                                 ignored);
}

QueueStore& QueueService::store() {
  if (!store_ || !store_->isUsable()) {
    mustBeThere();  // another directory would need other locks too
    store_.emplace(storage_);
    if (::stat((storage_ / QueueStore::fileName).c_str(), &openedStore_) != 0)
      throwSystemError(u"Opening", storage_ / QueueStore::fileName);
  }
  return *store_;
}

bool QueueService::isThere() const noexcept {
  const auto isStill = [](const std::filesystem::path& file, const struct stat& opened) {
    struct stat now {};
    return ::stat(file.c_str(), &now) == 0 && now.st_ino == opened.st_ino && now.st_dev == opened.st_dev;
  };
  return isStill(storage_, opened_) && (!store_ || isStill(storage_ / QueueStore::fileName, openedStore_));
}
void QueueService::mustBeThere() const {
  if (!isThere())
    throw Error(E_FAIL, queuingSource,
                u"The directory \"" + shownPath(storage_) +
                    u"\" has been removed or replaced since this process opened it; nothing was stored. "
                    u"Initialize the queue again, or restart the program.");
}

void QueueService::write(Database::Purpose purpose, const std::function<void()>& work,
                         const std::function<void()>& onceStored) {
  try {
    store().write(purpose, work);
  } catch (const SyncFailed&) {
    counts_->addStored();
    onceStored();
    throw;
  }
  counts_->addStored();
  onceStored();
  for (const QueueAddress& journal : store().trimmedJournals())
    if (toldJournals_.insert(shownName(journal)).second)
      warnInLog(
          u"MessageQueuing", u"Journal",
          u"The journal of " + shownName(journal) + u" is over its quota: its oldest messages are deleted.",
          MQ_ERROR_INSUFFICIENT_RESOURCES);
}

// ---- Queues

std::filesystem::path QueueService::queueFile(std::int64_t queue) const {
  char name[20];
  std::snprintf(name, sizeof name, "%08llx", static_cast<unsigned long long>(queue));
  return storage_ / "lqs" / name;
}

void QueueService::writeQueueFile(const QueueRecord& queue) {
  const bool isPrivate = queue.address.kind == QueueKind::Private;
  const auto line = [](const char* key, const std::string& value) {
    return std::string(key) + "=" + value + "\r\n";
  };
  replaceFile(queueFile(queue.id),
              "[Properties]\r\n" + line("SystemQueue", "00") +
                  line("QueueName", fileValue((isPrivate ? u"\\private$\\" : u"") + queue.address.name)) +
                  line("PathName", fileValue(pathNameOf(queue.address))) +
                  line("Label", fileValue(queue.address.name)) +
                  line("Transaction", queue.isTransactional ? "01" : "00") +
                  line("Journal", queue.keepsJournal ? "01" : "00") +
                  line("Quota", std::to_string(queue.quota)) +
                  line("JournalQuota", std::to_string(queue.journalQuota)),
              storage_ / "queue-file.new");
}

// A process may die between the store and the files that tell of it.
void QueueService::reconcileQueueFiles() {
  const auto differences = [&](const std::function<void(const std::filesystem::path&)>& onSurplus,
                               const std::function<void(const QueueRecord&)>& onMissing) {
    std::set<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(storage_ / "lqs", error))
      if (isQueueFile(entry)) files.insert(entry.path());
    std::size_t count = 0;
    for (const QueueRecord& queue : store().all()) {
      if (files.erase(queueFile(queue.id)) > 0) continue;
      ++count;
      if (onMissing) onMissing(queue);
    }
    for (const auto& file : files)
      if (onSurplus) onSurplus(file);
    return count + files.size();
  };
  if (differences(nullptr, nullptr) == 0) return;
  write(
      Database::Purpose::Frees,
      [&] {
        differences(
            [](const auto& file) {
              std::error_code ignored;
              std::filesystem::remove(file, ignored);
            },
            [&](const QueueRecord& queue) { writeQueueFile(queue); });
      },
      [] {});
}

void QueueService::create(const QueueRecord& queue) {
  QueueRecord created = queue;
  bool isStored = false;
  try {
    write(
        Database::Purpose::Stores,
        [&] {
          created.id = store().create(queue);
          writeQueueFile(created);
        },
        [&] { isStored = true; });
  } catch (...) {
    std::error_code ignored;
    if (!isStored && created.id != 0) std::filesystem::remove(queueFile(created.id), ignored);
    throw;
  }
}

void QueueService::notFound(const QueueAddress& address) {
  queuingFailed(MQ_ERROR_QUEUE_NOT_FOUND, u"There is no queue " + shownName(address) + u"; create it first.");
}

QueueRecord QueueService::find(const QueueAddress& address) {
  auto found = store().find(address);
  if (!found) notFound(address);
  found->address.isJournal = address.isJournal;
  return *found;
}

QueueRecord QueueService::find(std::int64_t queue, const QueueAddress& address) {
  auto found = store().find(queue);
  if (!found)
    queuingFailed(MQ_ERROR_QUEUE_DELETED,
                  u"The queue " + shownName(address) + u" has been deleted since it was opened.");
  found->address.isJournal = address.isJournal;
  return *found;
}

void QueueService::update(const QueueRecord& queue, const std::function<void(QueueRecord&)>& change) {
  QueueRecord before;
  bool isStored = false;
  try {
    write(
        Database::Purpose::Stores,
        [&] {
          QueueRecord now = before = find(queue.id, queue.address);
          change(now);
          store().update(now);
          writeQueueFile(now);
        },
        [&] { isStored = true; });
  } catch (...) {
    if (!isStored && before.id != 0) try {
        writeQueueFile(before);
      } catch (const Error&) {  // the error on its way says enough
      }
    throw;
  }
}

void QueueService::remove(const QueueAddress& address) {
  const QueueRecord queue = find(address);
  write(
      Database::Purpose::Frees, [&] { store().remove(queue.id); },
      [&] {
        std::error_code ignored;
        std::filesystem::remove(queueFile(queue.id), ignored);
        for (const bool isJournal : {false, true}) {
          signals_.signal(Box{queue.id, isJournal}.number());
          signals_.forget(Box{queue.id, isJournal}.number());
        }
      });
}

// ---- Messages

std::optional<MessageHeader> QueueService::firstVisible(Box box, std::int64_t after, bool& isHeldUp) {
  isHeldUp = false;
  // Who looks whether there is a message mostly receives it then.
  const auto now = std::chrono::steady_clock::now();
  const std::uint64_t generation = counts_->stored();
  const bool isFromFirst = after == 0;
  if (isFromFirst && first_.box == box && first_.generation == generation &&
      now - first_.readAt < longestReadAhead && !looking_.heldByOther(box.number(), first_.header.position))
    return first_.header;
  for (std::size_t count = 1;; count = readAheadCount) {
    store().read(box, after, count, found_);
    if (found_.empty()) return std::nullopt;
    for (MessageHeader& header : found_) {
      if (header.position <= after) continue;
      const auto held = looking_.heldByOther(box.number(), header.position);
      if (!held && isFromFirst && !isHeldUp) first_ = {box, header, generation, now};
      if (!held) return std::move(header);
      isHeldUp = true;
      after = std::max(header.position, held->to);
    }
  }
}

std::optional<MessageHeader> QueueService::firstVisible(Box box, std::int64_t after, bool& isHeldUp,
                                                        ReadAhead& ahead) {
  isHeldUp = false;
  const auto now = std::chrono::steady_clock::now();
  const std::uint64_t generation = counts_->stored();
  auto& [headers, next, readGeneration, freeAt, readAt] = ahead;
  const bool isValid = generation == readGeneration && now - readAt < longestReadAhead && next > 0 &&
                       next < headers.size() && headers[next - 1].position == after;
  if (!isValid) {
    const std::size_t count = headers.empty() ? 1 : readAheadCount;
    store().read(box, after, count, headers);
    next = 0;
    readGeneration = generation;
    readAt = now;
    freeAt.reset();
    if (const std::uint64_t holds = counts_->held(); headers.size() > 1)
      if (!looking_.heldByOther(box.number(), {headers.front().position, headers.back().position}))
        freeAt = holds;
  }
  if (next < headers.size() &&
      (freeAt == counts_->held() || !looking_.heldByOther(box.number(), headers[next].position)))
    return std::move(headers[next++]);  // its position stays
  headers.clear();
  return firstVisible(box, after, isHeldUp);
}

std::optional<MessageHeader> QueueService::visibleAt(Box box, std::int64_t position) {
  store().read(box, position - 1, 1, found_);
  if (found_.empty() || found_.front().position != position || looking_.heldByOther(box.number(), position))
    return std::nullopt;
  return std::move(found_.front());
}

std::optional<QueueService::Received> QueueService::receive(Box box, std::int64_t position, Where where,
                                                            Body wanted, TransactionWork* transaction,
                                                            bool& isHeldUp) {
  if (transaction != nullptr && !transaction->locks) transaction->locks = newLocks();
  MessageLocks& locks = transaction != nullptr ? *transaction->locks : momentary_;
  bool isAnyHeldUp = false;
  while (true) {
    auto header = where == Where::Exactly ? visibleAt(box, position) : firstVisible(box, position, isHeldUp);
    isHeldUp = isHeldUp || isAnyHeldUp;
    if (!header) return std::nullopt;
    if (!locks.tryLock(box.number(), header->position)) {  // somebody was faster
      isAnyHeldUp = true;
      continue;
    }
    counts_->addHeld();
    const Taken taken{box, header->position, header->id};
    Received received{std::move(*header), nullptr};
    try {
      // Who took it for good before this lock has also stored that.
      if (wanted == Body::Wanted) received.body = body(box, received.header);
      const bool isThere = wanted == Body::Wanted ? received.body != nullptr
                                                  : store().contains(box, taken.position, taken.position);
      if (!isThere) {
        locks.unlock(box.number(), taken.position);
        continue;
      }
      if (transaction != nullptr) {
        closeGap(*transaction, taken);
        transaction->taken.push_back(taken);
        return received;
      }
      bool isJournaled = false;
      write(
          Database::Purpose::Frees, [&] { isJournaled = store().take(taken); },
          [&] {
            locks.unlock(box.number(), taken.position);
            if (isJournaled) signals_.signal(Box{box.queue, true}.number());
          });
      return received;
    } catch (...) {
      locks.unlock(box.number(), taken.position);
      throw;
    }
  }
}

// A message that is taken behind another one is held together with the places between them where no message
// is: one range in place of two.
void QueueService::closeGap(const TransactionWork& work, const Taken& next) {
  if (work.taken.empty() || work.taken.back().box != next.box) return;
  const MessageLocks::Range gap{work.taken.back().position + 1, next.position - 1};
  if (gap.from <= gap.to && !store().contains(next.box, gap.from, gap.to))
    static_cast<void>(work.locks->tryLock(next.box.number(), gap));
}

std::optional<std::int64_t> QueueService::visibleWithNumber(Box box, std::uint32_t number) {
  const auto position = store().firstWithNumber(box, number);
  return position && visibleAt(box, *position) ? position : std::nullopt;
}

void QueueService::send(const Outgoing& message) {
  write(
      Database::Purpose::Stores, [&] { store().put(message); },
      [&] {
        signals_.signal(Box{message.queue, false}.number());
      });
}

std::uint64_t QueueService::generation() const noexcept { return counts_->stored(); }

void QueueService::keepBack(TransactionWork& work, Outgoing message, const QueueRecord& queue) {
  const auto size = static_cast<std::int64_t>(message.content.bytes().size());
  if (queue.quota >= 0) {
    if (!queue.fits(work.sentBytes[queue.id] + size)) overQuota(queue);
  }
  work.sentBytes[queue.id] += size;
  work.sent.push_back(std::move(message));
}

std::unique_ptr<MessageLocks> QueueService::newLocks() {
  if (spareLocks_) return std::move(spareLocks_);
  return std::make_unique<MessageLocks>(storage_ / "messages.locks");
}

void QueueService::release(TransactionWork& work) noexcept {
  if (work.locks) work.locks->unlockAll();
  spareLocks_ = std::move(work.locks);
  work.taken.clear();
  work.sent.clear();
  work.sentBytes.clear();
  work.isOver = true;
}

void QueueService::commit(TransactionWork& work) {
  std::set<std::int64_t> signalled;
  const auto storeAll = [&] {
    signalled.clear();
    for (const Taken& taken : work.taken)
      if (store().take(taken)) signalled.insert(Box{taken.box.queue, true}.number());
    for (const Outgoing& message : work.sent) {
      store().put(message);
      signalled.insert(Box{message.queue, false}.number());
    }
  };
  const auto onceStored = [&] {
    release(work);
    for (const std::int64_t box : signalled) signals_.signal(box);
  };
  if (!work.sent.empty())
    write(Database::Purpose::Stores, storeAll, onceStored);
  else if (!work.taken.empty())
    write(Database::Purpose::Frees, storeAll, onceStored);
  else
    onceStored();
}

void QueueService::abort(TransactionWork& work) noexcept {
  std::set<std::int64_t> signalled;
  for (const Taken& taken : work.taken) signalled.insert(taken.box.number());
  release(work);
  for (const std::int64_t box : signalled) signals_.signal(box);
}

}  // namespace CorvaneQueue::platform_layer
