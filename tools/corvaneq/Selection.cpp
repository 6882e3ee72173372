#include "Selection.h"

#include <algorithm>
#include <fstream>
#include <iostream>

namespace corvaneq {

using namespace CorvaneQueue;

Selection::Selection()
    : options{{"--msg-type",
               "MsgType",
               "",
               "Message type: a value, one with * behind it, or some with commas",
               {}},
              {"--msg-id", "MsgID", "", "Message identifier, in the same way", {}},
              {"--object", "Object", "", "Business object, in the same way", {}},
              {"--object-id", "ObjectID", "", "Identifier of the business object, in the same way", {}},
              {"--label", "Label", "contains", "Text in the label", {}},
              {"--body", "Body", "contains", "Text in the document", {}},
              {"--from-id", "ID", "from", "Identifier, and those after it", {}},
              {"--to-id", "ID", "to", "Identifier, and those before it", {}},
              {"--sent-from", "Sent", "from", "Time in UTC: 2026-11-23T08:15:00Z, or a day", {}},
              {"--sent-to", "Sent", "to", "Time in UTC", {}},
              {"--acknowledged-from", "Acknowledged", "from", "Time in UTC", {}},
              {"--acknowledged-to", "Acknowledged", "to", "Time in UTC", {}},
              {"--length-from", "Length", "from", "Bytes", {}},
              {"--length-to", "Length", "to", "Bytes", {}}} {}

void Selection::addTo(CLI::App& command) {
  for (Option& option : options)
    command.add_option(option.flag, option.value, option.help)->group("Which documents");
  command.add_flag("--ignore-case", ignoresCase, "For --label and --body")->group("Which documents");
  command.add_option("--where", where, "Conditions: FIELD TEST \"VALUE\" and ...")->group("Which documents");
  command
      .add_option("--ids-from", identifiersFrom, "Identifiers in a file, one a line; - for standard input")
      ->group("Which documents");
}

namespace {

std::string identifiersIn(const std::string& file) {
  std::ifstream opened;
  if (file != "-") opened.open(file);
  std::istream& stream = file == "-" ? std::cin : opened;
  if (!stream) refuse("\"" + file + "\" cannot be read.");
  std::string list;
  for (std::string line; std::getline(stream, line);) {
    constexpr std::string_view key = "\"id\":\"";  // of a row in JSON
    if (const auto id = line.find(key); line.starts_with('{') && id != std::string::npos)
      line = line.substr(id + key.size(), line.find('"', id + key.size()) - id - key.size());
    line = line.substr(0, line.find_first_of("\t ,\r"));  // a row of a list begins with it
    if (!line.empty()) list += (list.empty() ? "" : ",") + line;
  }
  return list;
}

}  // namespace

bool Selection::hasConditions() const {
  const auto isSet = [](const Option& option) { return !option.value.empty(); };
  return !identifiersFrom.empty() || !where.empty() || std::ranges::any_of(options, isSet);
}

Filter Selection::filter(const Operations& operations) const {
  const Filter filter = operations->NewFilter();
  if (!where.empty() && where.find_first_not_of(' ') == std::string::npos)
    throw WrongUsage("--where has no condition.");
  if (!where.empty()) filter->Text(argument("condition", where));
  std::string list = identifiersFrom.empty() ? std::string() : identifiersIn(identifiersFrom);
  for (const std::string& identifier : identifiers) list += (list.empty() ? "" : ",") + identifier;
  if (!list.empty()) filter->Where("ID", "one of", list);
  if (list.empty() && !identifiersFrom.empty())
    refuse("There is no identifier in \"" + identifiersFrom + "\".");
  for (const Option& option : options) {
    std::string value = option.value;
    if (value.empty()) continue;
    std::string test = option.test;
    if (test == "contains" && ignoresCase) test += " ignoring case";
    if (test.empty() && value.ends_with('*')) {
      test = "begins with";
      value.pop_back();
    }
    if (test.empty()) test = value.find(',') == std::string::npos ? "equal" : "one of";
    filter->Where(option.field, test, argument(option.flag, value));
  }
  return filter;
}

}  // namespace corvaneq
