// The documents that a command is about.
#pragma once

#include "Lookups.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace corvaneq {

// Which documents are meant: the same flags for every command.
struct Selection {
  std::string queue;
  bool isJournal = false;
  std::vector<std::string> identifiers;  // those alone
  std::string identifiersFrom;           // a file with one a line, - for standard input
  std::string where;                     // conditions in the library's own words
  struct Option {
    const char* flag;
    const char* field;
    const char*
        test;  // empty: equal, or begins with for a value that ends in *, or one of for one with commas
    const char* help;
    std::string value;
  };
  std::vector<Option> options;
  bool ignoresCase = false;
  bool isAll = false;  // said so

  // Whether anything says which documents.
  bool isGiven() const { return isAll || isNarrowed(); }
  bool isNarrowed() const { return !identifiers.empty() || hasConditions(); }
  bool hasConditions() const;

  Selection();
  void addTo(CLI::App& command);
  // Throws an Error for what is malformed.
  CorvaneQueue::Filter filter(const CorvaneQueue::Operations& operations) const;
};

}  // namespace corvaneq
