#include "Manual.h"

#include "Lookups.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace corvaneq {

namespace {

const std::map<std::string, std::string> examples{
    {"ack", "corvaneq ack Orders 0000000017"},
    {"backup", "corvaneq backup /var/backups/corvane-monday"},
    {"check", "corvaneq check"},
    {"compact", "corvaneq compact"},
    {"completion", "corvaneq completion bash > ~/.local/share/bash-completion/completions/corvaneq"},
    {"copy", "corvaneq copy Orders Trial --msg-type ORDER --sent-from 2026-11-23"},
    {"create", "corvaneq create Orders"},
    {"database", "corvaneq database script postgresql > store.sql"},
    {"delete", "corvaneq delete Orders --object-id 'TEST-*' --dry-run"},
    {"describe", "corvaneq describe > CorvaneQueue.idl"},
    {"exists", "corvaneq exists Orders || corvaneq create Orders"},
    {"export", "corvaneq export Orders orders.jsonl --journal"},
    {"find", "corvaneq find Orders --body 'Miller' --ignore-case --limit 10"},
    {"import", "corvaneq import Orders orders.jsonl"},
    {"journal", "corvaneq journal Orders --newest-first --limit 20"},
    {"manual", "corvaneq manual find | man -l -"},
    {"messages", "corvaneq messages Orders --json"},
    {"metrics", "corvaneq metrics --out /var/lib/node_exporter/corvane.prom"},
    {"move", "corvaneq find Orders --label ACME --json | corvaneq move Orders Parked --ids-from -"},
    {"names", "corvaneq names Orders"},
    {"prune", "corvaneq prune Orders --older-than 30d"},
    {"purge", "corvaneq purge Orders --journal"},
    {"queue", "corvaneq queue Orders JournalEnabled true"},
    {"queues", "corvaneq queues"},
    {"receive", "corvaneq receive Orders --count 0 --ack --out inbox"},
    {"redrive", "corvaneq redrive Orders --acknowledged-from 2026-11-23T08:00:00Z"},
    {"register", "corvaneq register"},
    {"remove", "corvaneq remove Trial"},
    {"restore", "corvaneq restore /var/backups/corvane-monday"},
    {"rule", "corvaneq rule Orders --older-than 30d --keep 100000"},
    {"send", "corvaneq send Orders --msg-type ORDER --object Order outbox/*.xml"},
    {"settings", "corvaneq settings QueueStoreType db"},
    {"show", "corvaneq show Orders 17 --journal"},
    {"stat", "corvaneq stat Orders --watch"},
    {"status", "corvaneq status"},
    {"unregister", "corvaneq unregister"},
    {"verify", "corvaneq verify"},
    {"watch", "corvaneq watch Orders --ack --out inbox"},
    {"work", "corvaneq work Orders --attempts 3 -- ./book-order --verbose"},
};

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  std::ranges::sort(commands, {}, [](const CLI::App* command) { return command->get_name(); });
  return commands;
}
std::vector<const CLI::Option*> optionsOf(const CLI::App& command, bool isPositional) {
  return command.get_options(
      [&](const CLI::Option* option) { return option->get_positional() == isPositional; });
}
const char* const exitCodes[][2] = {{"0", "Done."},
                                    {"2", "Wrong usage."},
                                    {"3", "Failed."},
                                    {"4", "Not there: a queue, a document, nothing to receive."},
                                    {"5", "Not confirmed; nothing was done."}};

// ---- Manual pages

std::string roff(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\')
      escaped += "\\e";
    else if (c == '-')
      escaped += "\\-";
    else if (c == '\'' || (c == '.' && (escaped.empty() || escaped.back() == '\n')))
      escaped += c == '.' ? "\\&." : "\\(aq";
    else
      escaped += c;
  }
  return escaped;
}
void addOptions(std::ostream& page, const CLI::App& command) {
  for (const bool isPositional : {true, false})
    for (const CLI::Option* option : optionsOf(command, isPositional)) {
      const bool takesValue = !isPositional && option->get_items_expected_max() > 0;
      const std::string name = option->get_name(isPositional, !isPositional);
      page << ".TP\n\\fB" << roff(name) << "\\fR" << (takesValue ? " \\fIVALUE\\fR" : "") << "\n"
           << roff(option->get_description()) << (option->get_required() ? " (required)" : "") << "\n";
    }
}
void addUsage(std::ostream& page, const CLI::App& command) {
  page << ".B corvaneq " << roff(command.get_name()) << "\n";
  for (const CLI::Option* option : optionsOf(command, true))
    page << (option->get_required() ? ".I " : ".RI [ ") << roff(option->get_name(true))
         << (option->get_required() ? "" : " ]") << "\n";
  page << "[options]\n";
}

}  // namespace

std::string manualPage(const CLI::App& app, const std::string& name) {
  const CLI::App* command = &app;
  if (!name.empty()) {
    const auto commands = commandsOf(app);
    const auto found =
        std::ranges::find(commands, name, [](const CLI::App* each) { return each->get_name(); });
    if (found == commands.end()) throw WrongUsage("There is no command \"" + name + "\"");
    command = *found;
  }
  const std::string page = name.empty() ? "corvaneq" : "corvaneq-" + name;
  std::string title = page;
  std::ranges::transform(title, title.begin(), [](unsigned char c) { return std::toupper(c); });
  std::string description = command->get_description();
  while (description.ends_with('.')) description.pop_back();
  std::ostringstream text;
  text << ".TH " << roff(title) << " 1 \"\" \"CorvaneQueue " CORVANE_VERSION "\" \"CorvaneQueue\"\n.SH NAME\n"
       << roff(page) << " \\- " << roff(description) << "\n.SH SYNOPSIS\n";
  if (name.empty())
    text << ".B corvaneq\n[\\-\\-json]\n.I COMMAND\n[arguments and options]\n";
  else
    addUsage(text, *command);
  text << ".SH OPTIONS\n";
  addOptions(text, *command);
  if (name.empty()) {
    text << ".SH COMMANDS\n";
    for (const CLI::App* each : commandsOf(app))
      text << ".TP\n.BR corvaneq\\-" << roff(each->get_name()) << " (1)\n"
           << roff(each->get_description()) << "\n";
    text
        << ".SH ENVIRONMENT\n.TP\n.B CORVANE_HOME\nThe directory of the installation: settings, stores and log. "
           "Without it, ~/.local/share/corvane.\n";
  } else {
    text << ".SH EXAMPLE\n.nf\n" << roff(examples.at(name)) << "\n.fi\n";
  }
  text << ".SH EXIT STATUS\n";
  for (const auto& [code, meaning] : exitCodes) text << ".TP\n.B " << code << "\n" << meaning << "\n";
  if (!name.empty()) text << ".SH SEE ALSO\n.BR corvaneq (1)\n";
  return text.str();
}

void addExamples(CLI::App& app) {
  for (CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    command->footer("Example:\n  " + examples.at(command->get_name()));
}

// ---- Completion

namespace {

std::string flagsOf(const CLI::App& command) {
  std::string flags;
  for (const CLI::Option* option : optionsOf(command, false))
    for (const std::string& name : option->get_lnames()) flags += (flags.empty() ? "--" : " --") + name;
  return flags;
}
// Of options that take a value, for a word in blanks.
std::string valuedFlagsOf(const CLI::App& command) {
  std::string flags = " ";
  for (const CLI::Option* option : optionsOf(command, false))
    if (option->get_items_expected_max() > 0)
      for (const std::string& name : option->get_lnames()) flags += "--" + name + " ";
  return flags;
}
// How many arguments of the command are names of queues.
int queuesOf(const CLI::App& command) {
  int count = 0;
  for (const CLI::Option* option : optionsOf(command, true)) {
    const std::string name = option->get_name(true);
    if (name == "queues") return 1000;
    if (name == "queue" || (name == "to" && option->get_description().starts_with("The queue"))) ++count;
  }
  return count;
}
std::string quoted(std::string text) {
  for (std::size_t at = 0; (at = text.find('\'', at)) != std::string::npos; at += 4)
    text.replace(at, 1, "'\\''");
  return "'" + text + "'";
}

// Zsh runs it as it is.
std::string bashCompletion(const CLI::App& app) {
  std::ostringstream text;
  text << "_corvaneq_command() {\n"
          "  case $1 in\n";
  for (const CLI::App* command : commandsOf(app))
    text << "    " << command->get_name() << ") flags='" << flagsOf(*command) << "' valued='"
         << valuedFlagsOf(*command) << "' queues=" << queuesOf(*command) << " ;;\n";
  text << "  esac\n"
          "}\n"
          "_corvaneq() {\n"
          "  local current=${COMP_WORDS[COMP_CWORD]} command='' flags='' valued='' queues=0 before=0 word i\n"
          "  COMPREPLY=()\n"
          "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
          "    word=${COMP_WORDS[i]}\n"
          "    case $valued in *\" $word \"*) i=$((i + 1)); continue ;; esac\n"
          "    case $word in\n"
          "      -*) ;;\n"
          "      *) if [ -z \"$command\" ]; then command=$word; _corvaneq_command \"$command\"\n"
          "         else before=$((before + 1)); fi ;;\n"
          "    esac\n"
          "  done\n"
          "  if [ -z \"$command\" ]; then flags='--json --version --help";
  for (const CLI::App* command : commandsOf(app)) text << ' ' << command->get_name();
  text << "'; fi\n"
          "  if [ -n \"$command\" ] && [ \"${current#-}\" = \"$current\" ]; then\n"
          "    if [ \"$before\" -lt \"$queues\" ]; then\n"
          "      local IFS=$'\\n'\n"
          "      COMPREPLY=($(compgen -W \"$(corvaneq queues 2>/dev/null)\" -- \"$current\"))\n"
          "    else\n"
          "      COMPREPLY=($(compgen -f -- \"$current\"))\n"
          "    fi\n"
          "  else\n"
          "    COMPREPLY=($(compgen -W \"$flags\" -- \"$current\"))\n"
          "  fi\n"
          "}\n"
          "complete -o filenames -F _corvaneq corvaneq\n";
  return text.str();
}

std::string fishCompletion(const CLI::App& app) {
  std::ostringstream text;
  std::string names;
  for (const CLI::App* command : commandsOf(app)) names += " " + command->get_name();
  const std::string none = "'not __fish_seen_subcommand_from" + names + "'";
  for (const CLI::App* command : commandsOf(app)) {
    const std::string seen = "'__fish_seen_subcommand_from " + command->get_name() + "'";
    text << "complete -c corvaneq -f -n " << none << " -a " << command->get_name() << " -d "
         << quoted(command->get_description()) << "\n";
    if (queuesOf(*command) > 0)
      text << "complete -c corvaneq -n " << seen << " -a '(corvaneq queues 2>/dev/null)'\n";
    for (const CLI::Option* option : optionsOf(*command, false))
      for (const std::string& name : option->get_lnames())
        text << "complete -c corvaneq -n " << seen << " -l " << name
             << (option->get_items_expected_max() > 0 ? " -r" : "") << " -d "
             << quoted(option->get_description()) << "\n";
  }
  return text.str();
}

}  // namespace

std::string completion(const CLI::App& app, const std::string& shell) {
  if (shell == "fish") return fishCompletion(app);
  if (shell == "zsh")
    return "#compdef corvaneq\nautoload -U +X bashcompinit && bashcompinit\n" + bashCompletion(app);
  return bashCompletion(app);
}

}  // namespace corvaneq
