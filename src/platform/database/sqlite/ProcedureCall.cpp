// The procedures of the message store: lists of statements.
#include "Parameters.h"
#include "QueryText.h"
#include "Rows.h"
#include "SqliteConnection.h"
#include "StoredText.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

namespace {

using Records = std::unique_ptr<Recordset>;
using Outcome = ProcedureStep::Outcome;

// Holds the document of the first row, if there is one, and stays on that row. Who looked at the same
// moment may have been faster, and may have taken the document out before it was held here: then the next
// one is the first.
bool holdFirst(SqliteConnection& connection, Statement& statement) {
  std::optional<std::int64_t> held;
  while (true) {
    statement.reset();
    if (!statement.step()) {
      if (held) connection.letGo(*held);
      return false;
    }
    const std::int64_t first = statement.integer(0);
    if (held == first) return true;
    if (held) connection.letGo(*held);
    held.reset();
    if (connection.tryHold(first)) held = first;
  }
}

Records heldRows(SqliteConnection& connection, Statement& statement) {
  if (!connection.isInTransaction()) return rowsOf(statement);
  return holdFirst(connection, statement) ? rowsOf(statement, From::CurrentRow) : nullptr;
}

[[noreturn]] void refuse(const ProcedureStep& step, const BoundParameters& bound, Database& database) {
  std::u16string failure(step.failure);
  if (const auto mark = failure.find(u"%1"); mark != std::u16string::npos)
    failure.replace(mark, 2, bound.shown(0));
  throw Error(ErrorNumber::InvalidArgument, storeSource, failure + lossNote(database.file().state));
}

}  // namespace

Records SqliteConnection::query(std::u16string_view text, std::int32_t seconds) {
  const LiftedQuery lifted = liftLiterals(text);
  Records records;
  run(StoreProcedure::Access::Reads, seconds, [&](Database& database) {
    Statement statement = database.prepare(lifted.sql);
    for (std::size_t i = 0; i < lifted.literals.size(); ++i)
      statement.bindText(static_cast<int>(i + 1), lifted.literals[i]);
    records = rowsOf(statement);
  });
  return records;
}

Records SqliteConnection::call(std::u16string_view name, std::span<Parameter> parameters,
                               std::int32_t seconds) {
  const auto procedure = std::ranges::find(definition_.procedures, name, &StoreProcedure::name);
  if (procedure == definition_.procedures.end())
    throw Error(StoreError::statement, storeSource,
                u"Could not find stored procedure \"" + std::u16string(name) + u"\".");
  const BoundParameters bound(parameters);
  Records records;
  run(procedure->access, seconds, [&](Database& database) {
    for (const ProcedureStep& step : procedure->steps) {
      Statement statement = database.prepare(step.sql);
      bound.bindTo(statement);
      switch (step.outcome) {
        case Outcome::Nothing: statement.step(); break;
        case Outcome::Rows: records = rowsOf(statement); break;
        case Outcome::Held: records = heldRows(*this, statement); break;
        case Outcome::Output:
          if (statement.step()) parameters[step.output].Value = Variant(statement.integer(0));
          statement.step();
          break;
        case Outcome::Required:
          if (!statement.step()) refuse(step, bound, database);
      }
    }
  });
  return records;
}

}  // namespace CorvaneQueue::platform_layer
