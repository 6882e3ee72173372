// What differs between the database servers.
#pragma once

#include "Odbc.h"
#include "ServerDriver.h"

#include <span>
#include <vector>

namespace CorvaneQueue::platform_layer {

enum class FailureKind {
  Connection,  // lost, or never made
  Timeout,
  Integrity,
  Permission,
  Refused,   // by a procedure of the store
  Conflict,  // with another transaction, by which this one was undone
  DiskFull,
  Statement,
  Other,
};

// A text ready for the server, with values for its parameters.
struct ServerText {
  std::u16string sql;
  std::vector<std::u16string> values;
};

class Dialect {
 public:
  static const Dialect& of(ServerEngine engine);
  virtual ~Dialect() = default;

  // The connection string, with what the driver must be told.
  virtual std::u16string connectionString(const ServerPlace& place) const = 0;
  virtual std::u16string_view onConnect() const = 0;
  // Whether the server sends texts as UTF-8.
  virtual bool isUtf8() const noexcept = 0;
  virtual std::u16string timeLimit(std::int32_t seconds) const = 0;
  // The call of a procedure by its bracketed name; a mark for each bound parameter.
  virtual std::u16string callText(std::u16string_view procedure,
                                  std::span<const Parameter> parameters) const = 0;
  // Whether a call can be sent in one text with what goes before it: the first text gives the call a name for
  // the time of the connection, the second one makes it with values.
  virtual bool takesTextsTogether() const noexcept = 0;
  virtual std::u16string prepareText(std::u16string_view name, std::u16string_view procedure,
                                     std::size_t values) const = 0;
  virtual std::u16string executeText(std::u16string_view name,
                                     std::span<const std::u16string> values) const = 0;
  // Whether outputs are columns of the row that a call returns; else they are bound, as is the return value.
  virtual bool returnsOutputsAsRow() const noexcept = 0;
  // Counts the procedures of the store that take a sender's own key.
  virtual std::u16string_view takesSenderKeys() const noexcept = 0;
  virtual ServerText queryText(std::u16string_view text) const = 0;
  // Opens a cursor for a text or the call of a procedure, gives its first rows, and the next ones; closes it.
  // A client that just runs the text holds all of its rows. Empty where drivers do not.
  static constexpr std::int32_t fetched = 200;  // rows at a time
  virtual std::u16string openCursor(std::u16string_view text) const = 0;
  virtual std::u16string openCursor(std::u16string_view procedure,
                                    std::span<const std::u16string> values) const = 0;
  virtual std::u16string fetch() const = 0;
  virtual std::u16string_view closeCursor() const noexcept = 0;
  virtual std::u16string_view begin() const noexcept = 0;
  virtual std::u16string_view commit() const noexcept = 0;
  // Undoes all that is open, if anything is.
  virtual std::u16string_view rollback() const noexcept = 0;
  virtual std::u16string savepoint(std::u16string_view name) const = 0;
  // Empty where a savepoint needs no end.
  virtual std::u16string release(std::u16string_view name) const = 0;
  virtual std::u16string rollbackTo(std::u16string_view name) const = 0;
  // Whether a call that is cut off may leave a transaction of its own behind.
  virtual bool mayLeaveTransactions() const noexcept = 0;
  virtual FailureKind kindOf(const Diagnosis& diagnosis) const = 0;
};

// The value of a keyword of a connection string, empty when it is not there.
std::u16string valueOfKeyword(std::u16string_view connection, std::u16string_view keyword);

}  // namespace CorvaneQueue::platform_layer
