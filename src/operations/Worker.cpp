#include "DbUtility.h"
#include "ErrorReports.h"
#include "OperatedStore.h"
#include "Platform.h"
#include "StoredText.h"

#include <CorvaneQueue/Worker.h>
#include <algorithm>
#include <optional>
#include <thread>

namespace CorvaneQueue {

namespace {
constexpr std::int32_t handlerFailed = 100;
constexpr auto longestPump = std::chrono::milliseconds(200);
}  // namespace

class Worker::Work {
 public:
  Work(String queue, Handler handler, WorkerOptions options)
      : name_(std::move(queue)),
        handler_(std::move(handler)),
        options_(options),
        errors_(u"Worker", ErrorReports::Naming::InOneCall),
        isByArrival_(make<DbUtility>()->QueueStoreType() == u"msmq") {
    if (!handler_ || options_.attempts < 1 || options_.pause.count() < 0 || options_.longestLook.count() < 1)
      throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Worker",
                  u"A worker needs a handler, at least one attempt, and times that are not negative.");
    queue_->Initialize(name_);
    if (!isByArrival_) return;
    arrivals_ = queue_->evtArrived([this](String& document, String& identifier) {
      isAnyTaken_ = true;
      attempt({identifier, {}, document});
    });
    queue_->ReceiveEnable();
    const auto info = platform().messageQueuing->createQueueInfo();
    call<&IMSMQQueueInfo::put_PathName>(info, make<DbUtility>()->FormatQueuePathName(name_));
    if (!call<&IMSMQQueueInfo::get_IsTransactional>(info))
      throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Worker",
                  u"The queue \"" + std::u16string(name_.view()) +
                      u"\" is not transactional: what a worker has in hand could not go back.");
  }

  // Whether there was a document.
  bool next(std::chrono::milliseconds patience) {
    isAnyTaken_ = false;
    failure_.reset();
    if (isByArrival_)
      Apartment::current().pump(patience);
    else
      poll();
    if (isByArrival_ && !isAnyTaken_ && queue_->Transaction().get().pdispVal != nullptr) attemptUnreadable();
    if (failure_) putBack();
    if (acknowledged_) finish(*std::exchange(acknowledged_, std::nullopt));
    return isAnyTaken_;
  }
  void pauseAfterFailure(const std::stop_token& stop) {
    const auto end = std::chrono::steady_clock::now() + options_.pause;
    while (failure_ && !stop.stop_requested() && std::chrono::steady_clock::now() < end)
      std::this_thread::sleep_for(std::min<std::chrono::milliseconds>(longestPump, options_.pause));
  }
  bool isByArrival() const noexcept { return isByArrival_; }
  std::chrono::milliseconds longestLook() const noexcept { return options_.longestLook; }
  // In pieces, after each of which it may be stopped.
  void waitForChange(std::chrono::milliseconds longest, const std::stop_token& stop) {
    while (longest.count() > 0 && !stop.stop_requested()) {
      const auto piece = std::min(longest, longestPump);
      if (store_.session().waitForChange(name_, piece)) return;
      longest -= piece;
    }
  }
  std::int64_t done() const noexcept { return done_; }
  std::int64_t failed() const noexcept { return failed_; }

 private:
  struct Failure {
    String id;
    std::int32_t attempts;
    String reason;
  };

  void poll() {
    queue_->BeginTransaction();
    const auto message = [&] {
      try {
        return queue_->ReceiveNext();
      } catch (const Error&) {
        attemptUnreadable();
        if (!failure_) throw;
        return Message();
      }
    }();
    if (failure_) return;
    if (!message) return queue_->Abort();
    isAnyTaken_ = true;
    attempt({message->ID(), message->Label(), message->Body()});
    if (!failure_) queue_->Commit();
  }

  // One cannot be read, and is not announced. It stands among the first ones, unless somebody else has taken
  // it meanwhile.
  void attemptUnreadable() {
    if (isByArrival_) queue_->Abort();
    constexpr std::size_t some = 100;
    const DocumentList list = store_.list(name_, false);
    std::vector<StoredDocument> first;
    store_.session().read(list, 0, StoreOperations::Direction::Forward, some, StoreOperations::Bodies::Left,
                          first);
    for (const StoredDocument& document : first) try {
        if (const auto whole = store_.whole(list, document)) static_cast<void>(store_.textOf(*whole));
      } catch (const Error& error) {
        const std::int64_t shown = store_.shownNumber(document.id);
        isAnyTaken_ = true;
        failure_ = {store_.shownID(shown), store_.session().beginAttempt(shown), error.description()};
        return;
      }
    if (isByArrival_) queue_->ReceiveEnable();
  }

  void attempt(WorkerDocument document) {
    const std::int64_t shown = toInt64(Variant(document.ID).get());
    document.attempt = store_.session().beginAttempt(shown);
    try {
      if (document.attempt > options_.attempts)
        throw Error(handlerFailed, u"CorvaneQueue.Worker", u"The process did not survive the last attempt.");
      handler_(document);
    } catch (const StopWorker& stop) {
      stop_ = stop;
      failure_ = {store_.shownID(shown), document.attempt, stop.description()};
      return;
    } catch (...) {
      const Error error = Error::current();
      failure_ = {store_.shownID(shown), document.attempt, error.description()};
      return;
    }
    queue_->AcknowledgeDocument(document.ID);
    if (isByArrival_)
      finish(shown);
    else
      acknowledged_ = shown;  // once it is committed
  }

  void finish(std::int64_t shown) {
    store_.session().endAttempts(shown);
    ++done_;
  }

  void putBack() {
    queue_->Abort();
    if (stop_) {
      store_.session().noteFailure(toInt64(Variant(failure_->id).get()), failure_->reason,
                                   failure_->attempts - 1);
      throw StopWorker(*std::exchange(stop_, std::nullopt));
    }
    const bool isLast = failure_->attempts >= options_.attempts;
    const std::u16string text = u"Queue \"" + std::u16string(name_.view()) + u"\", document " +
                                std::u16string(failure_->id.view()) + u", attempt " +
                                decimal(failure_->attempts) + u" of " + decimal(options_.attempts) +
                                (isLast ? u", which goes to the queue \"" + failedName() + u"\": " : u": ") +
                                std::u16string(failure_->reason.view());
    errors_.noted(u"Run", Error(handlerFailed, u"CorvaneQueue.Worker", text));
    // Who puts it back from there gives it all its attempts again.
    store_.session().noteFailure(toInt64(Variant(failure_->id).get()), failure_->reason,
                                 isLast ? 0 : failure_->attempts);
    if (isLast) giveUp();
    if (!isByArrival_) return;
    queue_->ReceiveDisable();
    queue_->ReceiveEnable();
  }

  std::u16string failedName() const { return std::u16string(name_.view()) + u".failed"; }

  void giveUp() {
    const String target = failedName();
    if (!create<Queues>()->Exists(target)) create<Utility>()->CreateQueue(target);
    const DocumentList list = store_.list(name_, false);
    const auto document =
        store_.session().find(list, toInt64(Variant(failure_->id).get()), StoreOperations::Bodies::Left);
    if (document &&
        store_.session()
                .change(list, {&*document, 1}, Fate::SetAside, store_.list(target, false).queue, {})
                .done != 1)
      return;  // somebody holds it: a pause, and again
    if (document) ++failed_;
    failure_.reset();
  }

  Queue queue_ = create<Queue>();  // first: it opens the door
  String name_;
  Handler handler_;
  WorkerOptions options_;
  ErrorReports errors_;
  bool isByArrival_;
  OperatedStore store_;
  Subscription arrivals_;
  bool isAnyTaken_ = false;
  std::optional<Failure> failure_;
  std::optional<StopWorker> stop_;
  std::optional<std::int64_t> acknowledged_;
  std::int64_t done_ = 0;
  std::int64_t failed_ = 0;
};

Worker::Worker(const Text& queue, Handler handler, WorkerOptions options)
    : work_(std::make_unique<Work>(String(StringRef(queue)), std::move(handler), options)) {}
Worker::~Worker() = default;

void Worker::run(std::stop_token stop) {
  std::chrono::milliseconds look{1};
  while (!stop.stop_requested()) {
    if (work_->next(longestPump)) {
      look = std::chrono::milliseconds(1);
      work_->pauseAfterFailure(stop);
    } else if (!work_->isByArrival()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));  // others may change much
      work_->waitForChange(look, stop);
      look = std::min(look * 2, work_->longestLook());
    }
  }
}

void Worker::runUntilEmpty(std::stop_token stop) {
  while (!stop.stop_requested() && work_->next(longestPump)) work_->pauseAfterFailure(stop);
}

std::int64_t Worker::done() const noexcept { return work_->done(); }
std::int64_t Worker::failed() const noexcept { return work_->failed(); }

}  // namespace CorvaneQueue
