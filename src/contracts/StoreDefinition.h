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

// For those who operate the store. `T` stands for the number of a queue (its MessageTypeID). What is there
// for the waiting documents and for the journal stands in this order.
struct OperationStatements {
  std::string_view queues;  // names
  std::string_view queue;   // T of a name (1)
  std::string_view
      content;  // of T (1): waiting, bytes; acknowledged, bytes; last sent, last acknowledged, oldest
  std::string_view countBetween;  // waiting ones of T (1) from an identifier (2) to another (3)
  // MessageID, label, creation, acknowledgement, length, and the body if it is wanted (4): of T (1) from an
  // identifier (2) to another (5), at most so many (3); from the first one or from the last.
  std::string_view forward[2];
  std::string_view backward[2];
  // The summaries of T (1) that have to do with identifiers from (2) to (3), as the search of summaries wants
  // them.
  std::string_view summariesForward;
  std::string_view summariesBackward;
  std::string_view isListed[2];  // T (1), identifier (2)
  std::string_view isSound;      // identifier (1)
  // Lists of T (1), identifier (2), T to move to (3).
  std::span<const std::string_view> deleting[2];
  std::span<const std::string_view> acknowledging;
  std::span<const std::string_view> moving[2];
  std::span<const std::string_view> movingDamaged;  // which stays so
  std::span<const std::string_view> copying;
  std::string_view store;            // the procedure that stores a document
  std::string_view forgetQueue;      // T (1)
  std::string_view forgetSummaries;  // of documents that are gone
};

struct StoreDefinition {
  // The statements may use the functions checksum(...), over all its arguments, isHeldByOther(MessageID), and
  // the aggregate function labelSigns(MessageID, label), of summaries.
  // A body that is a blob is one that must not be handed out.
  // Statement lists; number i + 1 is the schema version that migration i leads to.
  std::span<const std::string_view> migrations;
  std::span<const StoreProcedure> procedures;
  // For a check of the store: how many documents there are, how many without a checksum, and the identifiers
  // of those that are not what was stored.
  std::string_view documents;
  std::string_view unchecked;
  std::string_view damaged;
  OperationStatements operations;
};

}  // namespace CorvaneQueue
