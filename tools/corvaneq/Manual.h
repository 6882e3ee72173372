// The manual pages and the shells' completions, made from the description of the commands.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace corvaneq {

// Ends the help of each command with an example.
void addExamples(CLI::App& app);
// The manual page of a command, or of the tool for an empty name. Throws WrongUsage for one that there is
// not.
std::string manualPage(const CLI::App& app, const std::string& command);
// The completion of a shell: "bash", "zsh" or "fish".
std::string completion(const CLI::App& app, const std::string& shell);

}  // namespace corvaneq
