#include "Operating.h"

#include "OnServers.h"
#include "Output.h"
#include "System.h"

#include <charconv>
#include <filesystem>
#include <functional>

namespace corvaneq {

using namespace CorvaneQueue;

namespace {

// Work with many documents: tells how far it is, and in the end how many it has dealt with and why not all.
class Work {
 public:
  explicit Work(Selection selection) : selection_(std::move(selection)), operations_(create<Operations>()) {
    if (!selection_.queue.empty()) {
      mustBeThere(selection_.queue);
      queue_ = argument("queue name", selection_.queue);
      filter_ = selection_.filter(operations_);
      // One that was named and is not there: nothing is done.
      static_cast<void>(findAll(selection_.queue, selection_.identifiers,
                                selection_.isJournal ? Among::Acknowledged : Among::Waiting));
    }
    progress_ = operations_->evtProgress([this](std::int32_t done, std::int32_t total) {
      bar_.at(static_cast<std::size_t>(done), static_cast<std::size_t>(total));
    });
  }
  const Operations& operations() const noexcept { return operations_; }
  const String& queue() const noexcept { return queue_; }
  const Filter& filter() const noexcept { return filter_; }

  // Whether to go on. `what` is about to happen to so many documents.
  bool isMeant(const char* what, const Doing& doing, bool isAsked) const {
    if (!doing.isDryRun && (!isAsked || doing.isConfirmed || !selection_.identifiers.empty() ||
                            !selection_.identifiersFrom.empty()))
      return true;
    std::int64_t count = 0;
    const auto found = operations_->Search(queue_, selection_.isJournal, filter_);
    for (found->PageSize(1000); found->NextPage();) count += found->Count();
    if (doing.isDryRun) {
      print({{"action", std::string("would be ") + what}, {"documents", count}});
      return false;
    }
    if (count > 0)
      confirm(std::string("These ") + std::to_string(count) + " documents of \"" + selection_.queue +
              "\" are about to be " + what + ".");
    return true;
  }

  void report(const char* what, std::int64_t count) {
    const std::int64_t held = operations_->Held();
    if (count == std::ssize(selection_.identifiers) && selection_.identifiersFrom.empty() && held == 0) {
      for (const std::string& identifier : selection_.identifiers)
        print({{"action", what}, {"id", identifier}});
      if (count > 0) return;
    }
    Row row{{"action", what}, {"documents", count}};
    if (held > 0) row.emplace_back("held", held);
    if (const std::int64_t before = operations_->Before(); before > 0) row.emplace_back("before", before);
    print(row);
    if (const String damaged = operations_->Damaged(); !damaged.empty())
      refuse("These documents are damaged, and were left alone: " + toUtf8(damaged) +
             ". See \"corvaneq check\".");
  }

 private:
  const Selection selection_;
  Operations operations_;
  String queue_;
  Filter filter_;
  Progress bar_{0};
  Subscription progress_;
};

constexpr bool isAsked = true;

void mustBeFile(const std::string& name) {
  if (name == "-") throw WrongUsage("Name a file: what is stopped goes on in it, which a stream cannot.");
}

std::int32_t secondsIn(const std::string& age) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(age.data(), age.data() + age.size(), number);
  const std::string unit(end, age.data() + age.size());
  const std::int64_t seconds = unit == "d"   ? 86400
                               : unit == "h" ? 3600
                               : unit == "m" ? 60
                               : unit == "s" ? 1
                                             : 0;
  constexpr std::int64_t longest = std::int64_t{60} * 365 * 86400;
  if (error != std::errc() || seconds == 0 || number < 0 || number > longest / seconds)
    throw WrongUsage("\"" + age + "\" is no age: write a number and d, h, m or s, like 30d.");
  return static_cast<std::int32_t>(number * seconds);
}

}  // namespace

void moveDocuments(const Selection& selection, const std::string& to, const Doing& doing) {
  mustBeThere(to);
  Work work(selection);
  if (!work.isMeant("moved", doing, !isAsked)) return;
  work.report("moved", work.operations()->Move(work.queue(), selection.isJournal, argument("queue name", to),
                                               work.filter()));
}

void redriveDocuments(const Selection& selection, const Doing& doing) {
  Work work(selection);
  if (!work.isMeant("put back", doing, !isAsked)) return;
  work.report("put back", work.operations()->Redrive(work.queue(), work.filter()));
}

void copyDocuments(const Selection& selection, const std::string& to, const Doing& doing) {
  mustBeThere(to);
  mustBeThere(selection.queue);
  if (isOnServer(selection)) return copyOnServer(selection, to);
  Work work(selection);
  work.operations()->StartsAnew(doing.startsAnew);
  if (!work.isMeant("copied", doing, !isAsked)) return;
  work.report("copied", work.operations()->Copy(work.queue(), selection.isJournal, argument("queue name", to),
                                                work.filter()));
}

void deleteDocuments(const Selection& selection, bool leavesNoTrace, const Doing& doing) {
  mustBeThere(selection.queue);
  if (!selection.identifiers.empty() && !selection.isJournal && !leavesNoTrace && isOnServer(selection))
    return deleteOnServer(selection);
  Work work(selection);
  if (!work.isMeant("deleted", doing, isAsked)) return;
  const bool isForGood = selection.isJournal || leavesNoTrace;
  work.report("deleted", isForGood
                             ? work.operations()->Delete(work.queue(), selection.isJournal, work.filter())
                             : work.operations()->Acknowledge(work.queue(), work.filter()));
}

void exportDocuments(const Selection& selection, const std::string& file, const Doing& doing) {
  mustBeFile(file);
  Work work(selection);
  if (!work.isMeant("exported", doing, !isAsked)) return;
  work.report("exported", work.operations()->Export(work.queue(), selection.isJournal, work.filter(),
                                                    argument("file name", file)));
}

void importDocuments(const std::string& file, const std::string& queue, bool startsAnew) {
  mustBeThere(queue);
  mustBeFile(file);
  Work work({});
  work.operations()->StartsAnew(startsAnew);
  work.report("imported",
              work.operations()->Import(argument("file name", file), argument("queue name", queue)));
}

void prune(const std::string& queue, const Bounds& bounds, bool isConfirmed) {
  if (bounds.age.empty() && bounds.count < 0 && bounds.kilobytes < 0)
    throw WrongUsage("Say what may stay: --older-than, --keep or --keep-kilobytes.");
  const std::int32_t age = bounds.age.empty() ? -1 : secondsIn(bounds.age);
  Selection selection;
  selection.queue = queue;
  Work work(selection);
  if (!isConfirmed) {
    const auto statistics = work.operations()->Statistics(work.queue());
    if (statistics->Acknowledged() > 0)
      confirm("The journal of \"" + queue + "\" has " + std::to_string(statistics->Acknowledged()) +
              " documents; those beyond the bounds are about to be deleted.");
  }
  work.report("deleted", work.operations()->Prune(work.queue(), age, bounds.count, bounds.kilobytes));
}

void rule(const std::string& queue, const Bounds& bounds, bool isEnded) {
  Selection selection;
  selection.queue = queue;
  const Work work(selection);
  const auto& operations = work.operations();
  const bool isAny = !bounds.age.empty() || bounds.count >= 0 || bounds.kilobytes >= 0;
  if (isEnded && isAny) throw WrongUsage("Either --none, or what may stay.");
  if (isEnded || isAny)
    operations->SetJournalRule(work.queue(), bounds.age.empty() ? -1 : secondsIn(bounds.age), bounds.count,
                               bounds.kilobytes);
  const auto statistics = operations->Statistics(work.queue());
  tell("seconds", std::int64_t{statistics->JournalSeconds()});
  tell("count", std::int64_t{statistics->JournalCount()});
  tell("kilobytes", std::int64_t{statistics->JournalKilobytes()});
}

void compact() {
  Work work({});
  work.operations()->Compact();
  print({{"action", "compacted"}});
}

void backUp(const std::string& directory) {
  Work work({});
  work.operations()->Backup(argument("directory", nameOf(std::filesystem::absolute(fileNamed(directory)))));
  print({{"action", "backed up"}, {"directory", directory}});
}

void restore(const std::string& directory, bool isConfirmed) {
  if (!isConfirmed)
    confirm(
        "All that is in both stores of this installation, and its settings, are about to be replaced by \"" +
        directory + "\".");
  Work work({});
  work.operations()->Restore(argument("directory", nameOf(std::filesystem::absolute(fileNamed(directory)))));
  print({{"action", "restored"}, {"directory", directory}});
}

void removeQueue(const std::string& queue, const std::string& confirmed) {
  Selection selection;
  selection.queue = queue;
  Work work(selection);
  const auto statistics = work.operations()->Statistics(work.queue());
  std::string reply = confirmed;
  if (reply.empty())
    reply = answerTo("The queue \"" + queue + "\" is about to be removed, with " +
                     std::to_string(statistics->Waiting()) + " waiting documents and " +
                     std::to_string(statistics->Acknowledged()) + " in its journal. Type its name to go on:");
  if (reply != queue)
    throw Declined("Nothing was removed. Type the name of the queue, or add --confirm=" + queue + ".");
  work.operations()->DeleteQueue(work.queue(), true);
  print({{"action", "removed"}, {"queue", queue}});
}

}  // namespace corvaneq
