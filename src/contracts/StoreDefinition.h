// How a message store is defined for the driver of one database engine: its schema, and the procedures
// that are called by name.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace CorvaneQueue {

// One statement of a procedure. Parameters are bound by the position of the procedure's own.
struct ProcedureStep {
  enum class Outcome {
    Nothing,   // no result
    Rows,      // its rows are the procedure's record set
    Held,      // the same, of documents that nobody holds; in a transaction the first one is held for it
    Output,    // its first column becomes the value of the output parameter `output`
    Required,  // it must find a row, else the procedure fails with `failure` ("%1": the first parameter)
  };
  std::string_view sql;
  Outcome outcome = Outcome::Nothing;
  std::size_t output = 0;  // from 0
  std::u16string_view failure = {};
};

struct StoreProcedure {
  // Stores documents, takes them out, or takes out so many that room comes back.
  enum class Access { Reads, Stores, Frees, Purges };
  std::u16string_view name;  // bracketed, as it is called
  Access access;
  std::span<const ProcedureStep> steps;
};

struct StoreDefinition {
  // The statements may use the functions checksum(...), over all its arguments, and isHeldByOther(MessageID).
  // A body that is a blob is one that must not be handed out.
  // Statement lists; number i + 1 is the schema version that migration i leads to.
  std::span<const std::string_view> migrations;
  std::span<const StoreProcedure> procedures;
  // For a check of the store: how many documents there are, how many without a checksum, and the identifiers
  // of those that are not what was stored.
  std::string_view documents;
  std::string_view unchecked;
  std::string_view damaged;
};

}  // namespace CorvaneQueue
