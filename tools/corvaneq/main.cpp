// corvaneq: queues from the command line.
#include "Commands.h"

#include <CorvaneQueue/describe.h>
#include <CorvaneQueue/Error.h>
#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>

namespace {

// Exit codes. 1 is left to crashes of the shell's making, 2 to wrong usage.
constexpr int succeeded = 0;
constexpr int wrongUsage = 2;
constexpr int failed = 3;
constexpr int nothingThere = 4;

// As the error table of the operator's guide has it.
std::string numberText(std::int32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, number < 0 ? "0x%08X" : "%d", static_cast<unsigned>(number));
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Sends, receives and browses documents of CorvaneQueue."};
  app.require_subcommand(1);
  app.set_version_flag("--version", "corvaneq " CORVANE_VERSION);
  app.footer(
      "Results go to standard output, everything else to standard error.\n"
      "Exit codes: 0 done, 2 wrong usage, 3 failed, 4 nothing to receive.\n"
      "The installation is the directory CORVANE_HOME, or ~/.local/share/corvane.");
  int result = succeeded;

  std::string queue;
  std::vector<std::string> files;
  std::string encoding;
  corvaneq::RoutingOptions routing;
  auto* send = app.add_subcommand("send", "Send files as documents.");
  send->add_option("queue", queue, "Queue to send to")->required();
  send->add_option("files", files, "Files, - for standard input")->required();
  send->add_option("--encoding", encoding, "Encoding of the files, when it is not UTF-8");
  send->add_option("--msg-type", routing.msgType, "Message type");
  send->add_option("--msg-id", routing.msgID, "Message identifier");
  send->add_option("--object", routing.object, "Business object");
  send->add_option("--object-id", routing.objectID, "Identifier of the business object");
  send->callback([&] { corvaneq::send(queue, files, encoding, routing); });

  corvaneq::ReceiveOptions receiving;
  auto* receive = app.add_subcommand("receive", "Receive documents.");
  receive->add_option("queue", queue, "Queue to receive from")->required();
  receive->add_option("--count", receiving.count, "How many, 0 for all")->check(CLI::Range(0, 1'000'000'000));
  receive->add_flag("--ack", receiving.acknowledge,
                    "Acknowledge each one once it is written; with --out, receivers can share the queue");
  receive->add_option("--out", receiving.directory, "Write each to a file in this directory");
  receive->callback([&] {
    // Without acknowledgement the first document would come again and again.
    if (receiving.count != 1 && !receiving.acknowledge)
      throw CLI::ValidationError("--count", "To receive more than one document, add --ack.");
    result = corvaneq::receive(queue, receiving) == 0 ? nothingThere : succeeded;
  });

  std::string identifier;
  auto* ack = app.add_subcommand("ack", "Acknowledge a document. Its identifier alone tells which one.");
  ack->add_option("queue", queue, "Its queue")->required();
  ack->add_option("id", identifier, "Its identifier")->required();
  ack->callback([&] { corvaneq::acknowledge(queue, identifier); });

  app.add_subcommand("queues", "List the queues.")->callback([] { corvaneq::listQueues(); });
  auto* messages = app.add_subcommand("messages", "List the waiting documents of a queue.");
  messages->add_option("queue", queue, "The queue")->required();
  messages->callback([&] { corvaneq::listMessages(queue); });
  auto* journal = app.add_subcommand("journal", "List the acknowledged documents of a queue.");
  journal->add_option("queue", queue, "The queue")->required();
  journal->callback([&] { corvaneq::listJournal(queue); });

  app.add_subcommand("describe", "Print the type description of the library, as IDL.")->callback([] {
    std::cout << CorvaneQueue::typeDescription();
  });

  std::string name;
  std::string value;
  auto* settings = app.add_subcommand("settings", "Show the settings, or change one.");
  settings->add_option("name", name, "The setting");
  settings->add_option("value", value, "Its new value");
  settings->callback([&] { corvaneq::settings(name, value); });

  const auto commands =
      app.get_subcommands([&](CLI::App* command) { return argc > 1 && command->check_name(argv[1]); });
  if (argc > 1 && argv[1][0] != '-' && commands.empty()) {
    std::cerr << "corvaneq: There is no command \"" << argv[1] << "\"; see corvaneq --help.\n";
    return wrongUsage;
  }
  try {
    app.parse(argc, argv);
    std::cout.flush();
    if (std::cout) return result;
    std::cerr << "corvaneq: Standard output cannot be written.\n";
    return failed;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? succeeded : wrongUsage;
  } catch (const CorvaneQueue::Error& error) {
    std::cerr << "corvaneq: " << error.what() << " (error " << numberText(error.number());
    if (!error.source().empty()) std::cerr << ", " << CorvaneQueue::toUtf8(error.source());
    std::cerr << ")\n";
  } catch (const std::exception& error) {
    std::cerr << "corvaneq: " << error.what() << '\n';
  }
  return failed;
}
