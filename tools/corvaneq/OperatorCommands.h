// The command line of the commands for many documents at once.
#pragma once

#include "Operating.h"

#include <functional>

namespace corvaneq {

CLI::App* addCommand(CLI::App& app, const char* name, const char* help, std::function<void()> run);

// What the command line says; must live until it is parsed.
struct OperatorArguments {
  Selection selection;
  Doing doing;
  FindOptions finding;
  Bounds bounds;
  WorkOptions working;
  std::vector<std::string> command;
  std::vector<std::string> queues;
  std::string to;
  std::string confirmed;
  bool isWatching = false;
  bool leavesNoTrace = false;
  bool isEnded = false;
};
void addOperatorCommands(CLI::App& app, OperatorArguments& given);

}  // namespace corvaneq
