#include "OperatorCommands.h"

namespace corvaneq {

CLI::App* addCommand(CLI::App& app, const char* name, const char* help, std::function<void()> run) {
  CLI::App* const command = app.add_subcommand(name, help);
  command->callback(std::move(run));
  return command;
}

namespace {

void addSelectingCommands(CLI::App& app, OperatorArguments& given) {
  enum Flags { Journal = 1, Identifiers = 2, Doing = 4, Asked = 8, Everything = 16 };
  const auto add = [&](const char* name, const char* help, int flags, const char* to,
                       std::function<void()> run) {
    CLI::App* const command = addCommand(app, name, help, [&given, flags, name, run = std::move(run)] {
      if ((flags & Doing) != 0 && (flags & Everything) == 0 && !given.selection.isGiven())
        throw CLI::ValidationError(name, "Name the documents, add conditions, or add --all.");
      if (given.selection.isAll && given.selection.isNarrowed())
        throw CLI::ValidationError(name,
                                   "Every document, or those of the conditions: leave --all or these out.");
      run();
    });
    command->add_option("queue", given.selection.queue, "The queue")->required();
    if (to != nullptr) command->add_option("to", given.to, to)->required();
    if ((flags & Identifiers) != 0)
      command->add_option("ids", given.selection.identifiers, "Identifiers of documents, for these alone");
    if ((flags & Journal) != 0)
      command->add_flag("--journal", given.selection.isJournal,
                        "Of the acknowledged documents, not of the waiting ones");
    if ((flags & Doing) != 0) command->add_flag("--all", given.selection.isAll, "Every document");
    if ((flags & Doing) != 0)
      command->add_flag("--dry-run", given.doing.isDryRun, "Tell how many there are, and do nothing");
    if ((flags & Asked) != 0) command->add_flag("--yes", given.doing.isConfirmed, "Do not ask");
    given.selection.addTo(*command);
    return command;
  };
  const auto find = [&] { findDocuments(given.selection, given.finding); };
  const auto findInJournal = [&, find] {
    given.selection.isJournal = true;
    find();
  };
  for (auto* command :
       {add("find", "List documents that meet conditions.", Journal, nullptr, find),
        add("messages", "List the waiting documents of a queue.", 0, nullptr, find),
        add("journal", "List the acknowledged documents of a queue.", 0, nullptr, findInJournal)}) {
    command->add_option("--limit", given.finding.limit, "How many at most")
        ->check(CLI::Range(1, 1'000'000'000));
    command->add_flag("--newest-first", given.finding.isBackward, "From the last to the first");
    command->add_flag("--with-body", given.finding.isWithBodies, "With the texts of the documents");
  }
  add("move", "Move documents to another queue.", Journal | Identifiers | Doing, "The queue to move to",
      [&] { moveDocuments(given.selection, given.to, given.doing); });
  add("copy", "Copy documents to another queue.", Journal | Identifiers | Doing, "The queue to copy to", [&] {
    copyDocuments(given.selection, given.to, given.doing);
  })->add_flag("--anew", given.doing.startsAnew, "From the first one, also when the same copy was stopped");
  add("redrive", "Put documents of the journal back into their queue.", Identifiers | Doing, nullptr, [&] {
    given.selection.isJournal = true;
    redriveDocuments(given.selection, given.doing);
  });
  add("delete", "Delete documents; waiting ones go into the journal.", Journal | Identifiers | Doing | Asked,
      nullptr, [&] { deleteDocuments(given.selection, given.leavesNoTrace, given.doing); })
      ->add_flag("--no-journal", given.leavesNoTrace, "Not into the journal");
  add("export", "Write documents to a file, a JSON object a line.",
      Journal | Identifiers | Doing | Everything, "The file",
      [&] { exportDocuments(given.selection, given.to, given.doing); });
}

}  // namespace

void addOperatorCommands(CLI::App& app, OperatorArguments& given) {
  addSelectingCommands(app, given);
  auto* stat = addCommand(app, "stat", "Tell how much is in queues.",
                          [&] { statistics(given.queues, given.isWatching); });
  stat->add_option("queues", given.queues, "The queues; all of them without");
  stat->add_flag("--watch", given.isWatching, "Every second, without end");
  addCommand(app, "metrics", "Print what is in the queues for Prometheus.", [&] {
    metrics(given.to);
  })->add_option("--out", given.to, "Into this file, which is replaced as a whole");
  auto* import = addCommand(app, "import", "Send the documents of an exported file.", [&] {
    importDocuments(given.to, given.selection.queue, given.doing.startsAnew);
  });
  import->add_option("queue", given.selection.queue, "The queue")->required();
  import->add_option("file", given.to, "The file")->required();
  import->add_flag("--anew", given.doing.startsAnew,
                   "From the first line, also when an import of it was stopped");
  const auto addBounded = [&](const char* name, const char* help, std::function<void()> run) {
    CLI::App* const command = addCommand(app, name, help, std::move(run));
    command->add_option("queue", given.selection.queue, "The queue")->required();
    command->add_option("--older-than", given.bounds.age,
                        "Those acknowledged longer ago: 30d, 12h, 15m, 90s");
    command->add_option("--keep", given.bounds.count, "As many stay, the newest")
        ->check(CLI::Range(0, 1'000'000'000));
    command->add_option("--keep-kilobytes", given.bounds.kilobytes, "As much stays, the newest")
        ->check(CLI::Range(0, 1'000'000'000));
    return command;
  };
  addBounded("prune", "Delete the oldest documents of a journal.", [&] {
    prune(given.selection.queue, given.bounds, given.doing.isConfirmed);
  })->add_flag("--yes", given.doing.isConfirmed, "Do not ask");
  addBounded("rule", "Show the standing rule for a journal, or put another in its place.", [&] {
    rule(given.selection.queue, given.bounds, given.isEnded);
  })->add_flag("--none", given.isEnded, "No rule any more");
  addCommand(app, "compact", "Give free room of the store back to the disk.", compact);
  auto* working = addCommand(app, "work", "Run a program for each document; its exit code 0 acknowledges.",
                             [&] { work(given.selection.queue, given.command, given.working); });
  working->add_option("queue", given.selection.queue, "The queue")->required();
  working
      ->add_option("command", given.command,
                   "Behind --: the program and its arguments. It reads the document, and finds CORVANE_ID, "
                   "CORVANE_LABEL and CORVANE_ATTEMPT in its environment")
      ->required();
  working->add_option("--attempts", given.working.attempts, "After so many a document goes to QUEUE.failed")
      ->check(CLI::Range(1, 1'000'000'000));
  working->add_option("--pause", given.working.pauseSeconds, "Seconds between a failure and the next attempt")
      ->check(CLI::Range(0, 1'000'000'000));
  working->add_flag("--until-empty", given.working.isUntilEmpty, "Until nothing waits");
  addCommand(app, "backup", "Copy both stores and the settings, while others work.",
             [&] { backUp(given.to); })
      ->add_option("directory", given.to, "A directory that is not there yet")
      ->required();
  auto* restoring = addCommand(app, "restore", "Put such a copy in the place of what is there.",
                               [&] { restore(given.to, given.doing.isConfirmed); });
  restoring->add_option("directory", given.to, "The copy")->required();
  restoring->add_flag("--yes", given.doing.isConfirmed, "Do not ask");
  auto* remove = addCommand(app, "remove", "Remove a queue with its documents.",
                            [&] { removeQueue(given.selection.queue, given.confirmed); });
  remove->add_option("queue", given.selection.queue, "The queue")->required();
  remove->add_option("--confirm", given.confirmed, "The name of the queue, not to be asked");
}

}  // namespace corvaneq
