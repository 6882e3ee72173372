// What database access must offer: connection, command, parameter and record set, with the platform's
// names and values.
#pragma once

#include "StoredText.h"

#include <CorvaneQueue/Variant.h>

#include <memory>
#include <string>
#include <string_view>

namespace CorvaneQueue {

enum CommandTypeEnum : std::int32_t { adCmdText = 1, adCmdStoredProc = 4 };
enum DataTypeEnum : std::int32_t {
  adSmallInt = 2,
  adInteger = 3,
  adDate = 7,
  adBigInt = 20,
  adVarWChar = 202
};
enum ParameterDirectionEnum : std::int32_t { adParamInput = 1, adParamOutput = 2, adParamReturnValue = 4 };
enum ObjectStateEnum : std::int32_t { adStateClosed = 0, adStateOpen = 1 };
inline constexpr std::int32_t adOptionUnspecified = -1;

// The source of the errors of a store, and their numbers; all others are E_FAIL, or 5 for what the store's
// procedures refuse.
inline constexpr std::u16string_view storeSource = u"CorvaneQueue.MessageStore";
struct StoreError {
  static constexpr std::int32_t statement = static_cast<std::int32_t>(0x80040E14u);
  static constexpr std::int32_t timeoutExpired = static_cast<std::int32_t>(0x80040E31u);
  static constexpr std::int32_t permissionDenied = static_cast<std::int32_t>(0x80040E09u);
  static constexpr std::int32_t integrity = static_cast<std::int32_t>(0x80040E2Fu);
  // Of a commit whose work is stored, but may not survive a failure of the machine.
  static constexpr std::int32_t outcomeUnknown = static_cast<std::int32_t>(0x8004D016u);
};

// Bound by position; the name is a literal's. Size is in characters and checked for text. An input value may
// refer to a string of the caller's, which must then live until the command has been executed.
struct Parameter {
  std::u16string_view Name;
  DataTypeEnum Type;
  ParameterDirectionEnum Direction;
  std::int32_t Size;
  Variant Value{};
};

// One session with the database. Statements outside a transaction are durable when they return,
// those inside when the outermost transaction is committed.
class Connection {
 public:
  virtual ~Connection() = default;
  virtual ObjectStateEnum State() const = 0;
  // Returns the nesting level, 1 for the outermost.
  virtual std::int32_t BeginTrans() = 0;
  virtual void CommitTrans() = 0;
  virtual void RollbackTrans() = 0;
};

// The rows of a query, standing on the first one. Fields are addressed by position and never null.
class Recordset {
 public:
  virtual ~Recordset() = default;
  virtual std::int32_t RecordCount() const = 0;
  virtual void MoveFirst() = 0;
  virtual void MoveNext() = 0;
  virtual bool EndOfFile() const = 0;
  // Text, date-time and whole numbers (64 bits). Throws when there is no current row or field, for a null,
  // and for the body of a document that is damaged.
  virtual Variant Field(std::int32_t position) = 0;
  // The same without a copy: the field is null afterwards.
  virtual Variant TakeField(std::int32_t position) = 0;
  // The same of a text, for those who keep many and are asked for few: as a text, or as a byte array of its
  // stored form, which takes half the room.
  virtual Variant TakeText(std::int32_t position) { return TakeField(position); }
};

// The text of what TakeText() gave.
inline String textOf(const Variant& value) {
  if (value.type() != (VT_ARRAY | VT_UI1)) return toString(value.get());
  const auto bytes = bytesOf(value.get());
  return fromStored({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

class Command {
 public:
  virtual ~Command() = default;
  virtual void ActiveConnection(std::shared_ptr<Connection> connection) = 0;
  virtual void CommandType(CommandTypeEnum type) = 0;
  virtual void CommandText(std::u16string_view text) = 0;
  virtual void CommandTimeout(std::int32_t seconds) = 0;
  virtual void Append(Parameter parameter) = 0;
  // The appended parameter at the position from 0; an output holds its value after Execute.
  virtual const Parameter& At(std::size_t position) const = 0;
  virtual std::unique_ptr<Recordset> Execute(std::int32_t options) = 0;
};

class DatabaseAccess {
 public:
  virtual ~DatabaseAccess() = default;
  virtual std::unique_ptr<Command> createCommand() = 0;
};

}  // namespace CorvaneQueue
