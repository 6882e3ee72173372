#include "SqliteAccess.h"

#include "Parameters.h"
#include "QueryText.h"
#include "Rows.h"
#include "SqliteConnection.h"
#include "StoreCheck.h"
#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::int32_t defaultTimeout = 30;

SqliteConnection& ours(const std::shared_ptr<Connection>& connection) {
  auto* found = dynamic_cast<SqliteConnection*>(connection.get());
  if (found == nullptr)
    throw Error(ErrorNumber::ObjectNotSet, storeSource,
                u"Object not set: the command has no active connection.");
  return *found;
}

std::unique_ptr<Recordset> rowsOf(const std::shared_ptr<Connection>& connection, std::u16string_view text) {
  const LiftedQuery lifted = liftLiterals(text);
  std::unique_ptr<Recordset> records;
  ours(connection).run(StoreProcedure::Access::Reads, defaultTimeout, [&](Database& database) {
    Statement statement = database.prepare(lifted.sql);
    for (std::size_t i = 0; i < lifted.literals.size(); ++i)
      statement.bindText(static_cast<int>(i + 1), lifted.literals[i]);
    records = std::make_unique<Rows>(statement);
  });
  return records;
}

class SqliteCommand final : public Command {
 public:
  void ActiveConnection(std::shared_ptr<Connection> connection) override {
    connection_ = std::move(connection);
  }
  void CommandType(CommandTypeEnum type) override { type_ = type; }
  void CommandText(std::u16string_view text) override { text_ = text; }
  void CommandTimeout(std::int32_t seconds) override { timeout_ = seconds; }
  void Append(Parameter parameter) override { parameters_.push_back(std::move(parameter)); }
  const Parameter& At(std::size_t position) const override { return parameters_.at(position); }

  std::unique_ptr<Recordset> Execute(std::int32_t) override {
    return type_ == adCmdText ? rowsOf(connection_, text_) : callProcedure();
  }

 private:
  using Records = std::unique_ptr<Recordset>;

  Records callProcedure() {
    SqliteConnection& connection = ours(connection_);
    const StoreProcedure* procedure = nullptr;
    for (const StoreProcedure& candidate : connection.definition().procedures)
      if (candidate.name == text_) procedure = &candidate;
    if (procedure == nullptr)
      throw Error(StoreFile::statementError, storeSource,
                  u"Could not find stored procedure \"" + text_ + u"\".");
    const BoundParameters bound(parameters_);
    Records records;
    connection.run(procedure->access, timeout_, [&](Database& database) {
      for (const ProcedureStep& step : procedure->steps) take(step, connection, database, bound, records);
    });
    return records;
  }

  void take(const ProcedureStep& step, SqliteConnection& connection, Database& database,
            const BoundParameters& bound, Records& records) {
    Statement statement = database.prepare(step.sql);
    bound.bindTo(statement);
    switch (step.outcome) {
      case ProcedureStep::Outcome::Nothing: statement.step(); break;
      case ProcedureStep::Outcome::Rows: records = std::make_unique<Rows>(statement); break;
      case ProcedureStep::Outcome::Held:
        if (!connection.isInTransaction())
          records = std::make_unique<Rows>(statement);
        else if (holdFirst(connection, statement))
          records = std::make_unique<Rows>(statement, Rows::From::CurrentRow);
        break;
      case ProcedureStep::Outcome::Output:
        if (statement.step()) parameters_.at(step.output).Value = Variant(statement.integer(0));
        statement.step();
        break;
      case ProcedureStep::Outcome::Required:
        if (statement.step()) break;
        std::u16string failure(step.failure);
        if (const auto mark = failure.find(u"%1"); mark != std::u16string::npos)
          failure.replace(mark, 2, bound.shown(0));
        throw Error(ErrorNumber::InvalidArgument, storeSource, failure + lossNote(database.file().state));
    }
  }

  // Holds the document of the first row, if there is one, and stays on that row. Who looked at the same
  // moment may have been faster, and may have taken the document out before it was held here: then the next
  // one is the first.
  static bool holdFirst(SqliteConnection& connection, Statement& statement) {
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

  std::shared_ptr<Connection> connection_;
  CommandTypeEnum type_ = adCmdText;
  std::u16string text_;
  std::int32_t timeout_ = defaultTimeout;
  std::vector<Parameter> parameters_;
};

}  // namespace

std::unique_ptr<Command> SqliteAccess::createCommand() { return std::make_unique<SqliteCommand>(); }

std::shared_ptr<Connection> SqliteAccess::connect(const std::filesystem::path& file) {
  return std::make_shared<SqliteConnection>(file, definition_);
}

StoreReport SqliteAccess::check(const std::filesystem::path& file, StoreCheck how) const {
  Database database(file, definition_.migrations, Database::IfMissing::ReadEmpty);
  StoreReport report = reportOf(database, how);
  const auto number = [&](std::string_view sql) {
    Statement row = database.prepare(sql);
    return row.step() ? row.integer(0) : 0;
  };
  try {
    report.unchecked = number(definition_.unchecked);
    if (how == StoreCheck::Quick) return report;
    report.documents = number(definition_.documents);
    Statement row = database.prepare(definition_.damaged);
    while (row.step())
      report.findings.push_back(u"The document " + decimal(row.integer(0)) +
                                u" is damaged: it is not what was sent, and is not handed out.");
  } catch (const Error& error) {
    report.findings.push_back(error.description());
  }
  return report;
}

std::unique_ptr<Recordset> SqliteAccess::query(const std::shared_ptr<Connection>& connection,
                                               std::u16string_view text) {
  return rowsOf(connection, text);
}

}  // namespace CorvaneQueue::platform_layer
