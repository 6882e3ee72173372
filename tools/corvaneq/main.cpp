// corvaneq: queues from the command line.
#include "Commands.h"
#include "Manual.h"
#include "OperatorCommands.h"
#include "Output.h"
#include "System.h"

#include <algorithm>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <numeric>
#include <optional>
#include <sstream>

namespace {

// Exit codes. 1 is left to crashes of the shell's making.
constexpr int succeeded = 0;
constexpr int wrongUsage = 2;
constexpr int failed = 3;
constexpr int notThere = 4;
constexpr int declined = 5;

// What the command line says.
struct Arguments {
  std::string queue;
  std::string other;
  std::string job;
  std::vector<std::string> items;
  std::string encoding;
  std::string identifier;
  std::optional<std::string> setting;
  std::optional<std::string> value;
  corvaneq::RoutingOptions routing;
  corvaneq::ReceiveOptions receiving;
  bool isJournal = false;
  bool isAll = false;
  bool isConfirmed = false;
  int result = succeeded;

  corvaneq::Among among() const {
    return isJournal ? corvaneq::Among::Acknowledged : corvaneq::Among::Waiting;
  }
};

CLI::App* addQueueCommand(CLI::App& app, Arguments& given, const char* name, const char* help,
                          std::function<void()> run) {
  CLI::App* const command = corvaneq::addCommand(app, name, help, std::move(run));
  command->add_option("queue", given.queue, "The queue")->required();
  return command;
}
void addJournalFlag(CLI::App* command, Arguments& given) {
  command->add_flag("--journal", given.isJournal, "Of the acknowledged documents, not of the waiting ones");
}

CLI::Option* addItems(CLI::App* command, Arguments& given, const char* name, const char* help) {
  return command->add_option(name, given.items, help);
}

// Every argument is taken as it is. The parser would make a list of one in brackets: a mark before the
// bracket keeps it from that, and is taken off when the argument has found its option.
constexpr char asItIs = '\x01';
std::vector<std::string> marked(std::vector<std::string> arguments) {
  for (std::string& argument : arguments)
    if (argument.starts_with('[')) argument.insert(argument.begin(), asItIs);
  std::ranges::reverse(arguments);  // the parser takes them last first
  return arguments;
}
void takeMarksOff(CLI::App& app) {
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; }))
    for (CLI::Option* option : command->get_options())
      option->transform([](const std::string& text) { return text[0] == asItIs ? text.substr(1) : text; });
}

void addDocumentCommands(CLI::App& app, Arguments& given) {
  auto* send = addQueueCommand(app, given, "send", "Send files as documents.", [&] {
    corvaneq::send(given.queue, given.items, given.encoding, given.routing);
  });
  addItems(send, given, "files", "Files, - for standard input")->required();
  send->add_option("--encoding", given.encoding, "Encoding of the files, when it is not UTF-8");
  send->add_option("--msg-type", given.routing.msgType, "Message type");
  send->add_option("--msg-id", given.routing.msgID, "Message identifier");
  send->add_option("--object", given.routing.object, "Business object");
  send->add_option("--object-id", given.routing.objectID, "Identifier of the business object");

  const auto addReceiving = [&](const char* name, const char* help, bool isWatching) {
    auto* command = addQueueCommand(app, given, name, help, [&given, isWatching] {
      given.receiving.isWatching = isWatching;
      // Without acknowledgement the first document would come again and again.
      if (!given.receiving.count) given.receiving.count = isWatching && given.receiving.acknowledge ? 0 : 1;
      if (given.receiving.count != 1 && !given.receiving.acknowledge)
        throw CLI::ValidationError("--count", "To receive more than one document, add --ack.");
      given.result = corvaneq::receive(given.queue, given.receiving) == 0 ? notThere : succeeded;
    });
    command->add_option("--count", given.receiving.count, "How many, 0 for all")
        ->check(CLI::Range(0, 1'000'000'000));
    command->add_flag("--ack", given.receiving.acknowledge,
                      "Acknowledge each one once it is written; with --out, receivers can share the queue");
    command->add_option("--out", given.receiving.directory, "Write each to a file in this directory");
  };
  addReceiving("receive", "Receive documents that wait.", false);
  addReceiving("watch", "Receive documents as they arrive, without end.", true);
  addQueueCommand(app, given, "ack",
                  "Acknowledge a waiting document. On the database store its identifier alone "
                  "tells which one, whatever queue is named.",
                  [&] { corvaneq::acknowledge(given.queue, given.identifier); })
      ->add_option("id", given.identifier, "Its identifier")
      ->required();
  auto* show = addQueueCommand(app, given, "show", "Print the text of a document.",
                               [&] { corvaneq::show(given.queue, given.identifier, given.among()); });
  show->add_option("id", given.identifier, "Its identifier")->required();
  addJournalFlag(show, given);
  auto* purge = addQueueCommand(
      app, given, "purge",
      "Delete all waiting documents, or the journal. The Message Queuing store takes waiting documents into the journal, if the queue keeps one; the database store keeps nothing of them.",
      [&] { corvaneq::purge(given.queue, given.among(), given.isConfirmed); });
  addJournalFlag(purge, given);
  purge->add_flag("--yes", given.isConfirmed, "Do not ask");
}

void addOtherCommands(CLI::App& app, Arguments& given) {
  corvaneq::addCommand(app, "queues", "List the queues.", corvaneq::listQueues);
  addQueueCommand(app, given, "create", "Create a queue.", [&] { corvaneq::createQueue(given.queue); });
  addQueueCommand(app, given, "exists", "Tell whether a queue exists.",
                  [&] { given.result = corvaneq::exists(given.queue) ? succeeded : notThere; });
  addQueueCommand(app, given, "names", "Print the path name and the format name of a queue.",
                  [&] { corvaneq::names(given.queue); });
  auto* queue = addQueueCommand(app, given, "queue", "Show the settings of a queue, or change one.",
                                [&] { corvaneq::queueSettings(given.queue, given.setting, given.value); });
  queue->add_option("name", given.setting, "The setting");
  queue->add_option("value", given.value, "Its new value; quotas in kilobytes");
  auto* settings =
      corvaneq::addCommand(app, "settings", "Show the settings of the installation, or change one.",
                           [&] { corvaneq::settings(given.setting, given.value); });
  settings->add_option("name", given.setting, "The setting");
  settings->add_option("value", given.value, "Its new value");
  corvaneq::addCommand(app, "status", "Tell which store is in use and what is supported.", corvaneq::status);
  corvaneq::addCommand(app, "verify", "Read all of the store and tell whether it is sound, as check does.",
                       [&] { given.result = corvaneq::check() ? succeeded : failed; });
  corvaneq::addCommand(app, "check", "Read all of the store and tell whether it is sound.",
                       [&] { given.result = corvaneq::check() ? succeeded : failed; });
  auto* database = corvaneq::addCommand(
      app, "database", "Prepare or check the store on a database server, or print its SQL.",
      [&] { given.result = corvaneq::database(given.job, given.other) ? succeeded : failed; });
  database->add_option("job", given.job, "install, upgrade, check, script or upgrade-script")
      ->required()
      ->check(CLI::IsMember({"install", "upgrade", "check", "script", "upgrade-script"}));
  database->add_option("engine", given.other,
                       "For scripts: postgresql or sqlserver; without it, that of the settings");
  corvaneq::addCommand(app, "manual", "Print the manual page of the tool, or of a command.", [&] {
    std::cout << corvaneq::manualPage(app, given.job);
  })->add_option("command", given.job, "The command");
  corvaneq::addCommand(app, "completion", "Print the completion of a shell: of commands, options and queues.",
                       [&] { std::cout << corvaneq::completion(app, given.job); })
      ->add_option("shell", given.job, "bash, zsh or fish")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  corvaneq::addCommand(app, "describe", "Print the type description of the library, as IDL.",
                       corvaneq::describe);
  corvaneq::addCommand(app, "register", "Enter the classes and the type library into the registry.",
                       corvaneq::registerServer);
  corvaneq::addCommand(app, "unregister", "Remove them from the registry.", corvaneq::unregisterServer);
}

// How many letters must change to make one word of the other.
std::size_t distance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < left.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < right.size(); ++j) {
      const std::size_t changed = diagonal + (left[i] == right[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string unknownCommand(CLI::App& app, const std::string& word) {
  std::string nearest;
  std::size_t fewest = word.size() / 3 + 1;
  for (const CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
    const std::size_t changes = distance(word, command->get_name());
    if (changes < fewest) fewest = changes, nearest = command->get_name();
  }
  return "There is no command \"" + word + "\"" +
         (nearest.empty() ? "; see corvaneq --help." : ". Did you mean \"" + nearest + "\"?");
}

std::string wrongUsageOf(const CLI::App& app, std::string what) {
  while (!what.empty() && (what.back() == '.' || what.back() == '\n')) what.pop_back();
  what += "; see corvaneq";
  for (const CLI::App* command : app.get_subcommands()) what += " " + command->get_name();
  return what + " --help.";
}

// An error whose text does not say what to do, with that.
CorvaneQueue::Error explained(const CorvaneQueue::Error& error) {
  const std::u16string text(error.description().view());
  if (text != u"Unsupported queue storage type") return error;
  return {error.number(), error.source(),
          text + u"; choose one with \"corvaneq settings QueueStoreType\": msmq or db."};
}

}  // namespace

int main(int argc, char** argv) {
  corvaneq::secureStreams();
  CLI::App app{"Sends, receives and browses documents of CorvaneQueue.", "corvaneq"};
  app.require_subcommand(1);
  app.fallthrough();
  app.allow_windows_style_options(false);  // "/name" is a file on every system
  app.set_version_flag("--version", "corvaneq " CORVANE_VERSION);
  app.add_flag_callback("--json", corvaneq::useJson, "Print results and errors as JSON, one object a line")
      ->trigger_on_parse();
  app.footer(
      "Results go to standard output, everything else to standard error.\n"
      "Exit codes: 0 done, 2 wrong usage, 3 failed, 4 not there (a queue, a document, nothing to receive),\n"
      "5 not confirmed. Identifiers are taken with or without leading zeros.\n"
      "The installation is the directory CORVANE_HOME, or ~/.local/share/corvane.");
  Arguments given;
  addDocumentCommands(app, given);
  corvaneq::OperatorArguments operating;
  corvaneq::addOperatorCommands(app, operating);
  addOtherCommands(app, given);
  corvaneq::addExamples(app);
  takeMarksOff(app);

  const std::vector<std::string> arguments = corvaneq::argumentsOf(argc, argv);
  auto first = arguments.begin();  // that names a command
  for (; first != arguments.end() && first->starts_with('-'); ++first)
    if (*first == "--json") corvaneq::useJson();
  const auto isFirst = [&](CLI::App* command) { return command->check_name(*first); };
  if (first != arguments.end() && app.get_subcommands(isFirst).empty()) {
    corvaneq::printError(unknownCommand(app, *first));
    return wrongUsage;
  }
  try {
    app.parse(marked(arguments));
    std::cout.flush();
    if (std::cout) return given.result;
    corvaneq::printError("Standard output cannot be written.");
    return failed;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {  // help was asked for, or the version
      std::ostringstream text;
      app.exit(error, text, text);
      if (corvaneq::usesJson())
        corvaneq::print({{error.get_name() == "CallForVersion" ? "version" : "help", text.str()}});
      else
        std::cout << text.str() << std::flush;
      return succeeded;
    }
    corvaneq::printError(wrongUsageOf(app, error.what()));
    return wrongUsage;
  } catch (const corvaneq::WrongUsage& error) {
    corvaneq::printError(wrongUsageOf(app, error.what()));
    return wrongUsage;
  } catch (const corvaneq::NotThere& error) {
    corvaneq::printError(error.what());
    return notThere;
  } catch (const corvaneq::Declined& error) {
    corvaneq::printError(error.what());
    return declined;
  } catch (const CorvaneQueue::Error& error) {
    corvaneq::printError(explained(error));
    if (error.source() == u"CorvaneQueue.Filter") return wrongUsage;
  } catch (const std::exception& error) {
    corvaneq::printError(error.what());
  }
  return failed;
}
