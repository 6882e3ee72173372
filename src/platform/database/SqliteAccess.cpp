#include "SqliteAccess.h"

#include "Database.h"
#include "QueryText.h"
#include "Rows.h"
#include "Text.h"

#include <algorithm>
#include <chrono>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::int32_t defaultTimeout = 30;

// A transaction is begun in the store by the first statement in it.
class SqliteConnection final : public Connection {
 public:
  SqliteConnection(const std::filesystem::path& file, const StoreDefinition& definition)
      : definition_(definition), database_(file, definition.migrations) {}

  ObjectStateEnum State() const override {
    return database_.isUsable() && (!isStarted_ || database_.inTransaction()) ? adStateOpen : adStateClosed;
  }

  std::int32_t BeginTrans() override {
    ++level_;
    if (isStarted_) enterLevel(level_);
    return level_;
  }

  void CommitTrans() override {
    requireTransaction();
    const std::int32_t level = level_--;
    if (level > 1) {
      if (isStarted_) database_.execute("RELEASE " + nameOf(level));
    } else if (std::exchange(isStarted_, false)) {
      database_.commit();
    }
  }

  void RollbackTrans() override {
    requireTransaction();
    const std::int32_t level = level_--;
    if (level > 1) {
      if (isStarted_) leave(nameOf(level));
    } else if (std::exchange(isStarted_, false)) {
      database_.rollback();
    }
  }

  // Runs statements in the open transaction, or in one of their own when they write. What fails
  // leaves no trace.
  template <class Body>
  auto run(StoreProcedure::Access access, std::int32_t timeout, Body&& body) {
    if (level_ == 0 && access == StoreProcedure::Access::Reads) return body(database_);
    if (level_ > 0 && isStarted_) return runInside(std::forward<Body>(body));
    const bool isOwn = level_ == 0;
    database_.begin(isOwn ? Database::Duration::Short : Database::Duration::Open, limitOf(timeout));
    try {
      for (std::int32_t level = 2; level <= level_; ++level) enterLevel(level);
      auto result = body(database_);
      if (isOwn)
        database_.commit();
      else
        isStarted_ = true;
      return result;
    } catch (...) {
      database_.rollback();  // there was nothing before this in it
      throw;
    }
  }

  const StoreDefinition& definition() const noexcept { return definition_; }

 private:
  static std::optional<std::chrono::seconds> limitOf(std::int32_t timeout) {
    if (timeout == 0) return std::nullopt;
    return std::chrono::seconds(timeout);
  }
  template <class Body>
  auto runInside(Body&& body) {
    database_.execute("SAVEPOINT statement");
    try {
      auto result = body(database_);
      database_.execute("RELEASE statement");
      return result;
    } catch (...) {
      if (database_.isUsable()) leave("statement");
      throw;
    }
  }
  static std::string nameOf(std::int32_t level) { return "level" + std::to_string(level); }
  void enterLevel(std::int32_t level) { database_.execute("SAVEPOINT " + nameOf(level)); }
  // Undoes what was done since a mark; when that fails, everything.
  void leave(const std::string& mark) noexcept {
    try {
      database_.execute("ROLLBACK TO " + mark);
      database_.execute("RELEASE " + mark);
    } catch (const Error&) {
      database_.rollback();
    }
  }
  void requireTransaction() const {
    if (level_ == 0) throw Error(E_FAIL, storeSource, u"There is no open transaction on the connection.");
  }

  const StoreDefinition& definition_;
  Database database_;
  std::int32_t level_ = 0;
  bool isStarted_ = false;
};

SqliteConnection& ours(const std::shared_ptr<Connection>& connection) {
  auto* found = dynamic_cast<SqliteConnection*>(connection.get());
  if (found == nullptr)
    throw Error(ErrorNumber::ObjectNotSet, storeSource,
                u"Object not set: the command has no active connection.");
  return *found;
}

[[noreturn]] void badParameter(const Parameter& parameter, std::int32_t number, std::u16string_view what) {
  throw Error(number, storeSource,
              u"The parameter \"" + std::u16string(parameter.Name) + u"\" " + std::u16string(what));
}

// The input parameters as the statements take them; output and return parameters are null.
class BoundParameters {
 public:
  explicit BoundParameters(std::span<const Parameter> parameters) : values_(parameters.size()) {
    for (std::size_t i = 0; i < parameters.size(); ++i)
      if (parameters[i].Direction == adParamInput) values_[i] = converted(parameters[i]);
  }

  void bindTo(Statement& statement) const {
    for (int i = 0; i < statement.parameterCount(); ++i) {
      const Bound& value = values_.at(static_cast<std::size_t>(i));
      if (value.isText)
        statement.bindText(i + 1, value.text);
      else if (value.isNumber)
        statement.bind(i + 1, value.number);
      else
        statement.bindNull(i + 1);
    }
  }
  // For error texts.
  std::u16string shown(std::size_t position) const {
    const Bound& value = values_.at(position);
    return value.isNumber ? decimal(value.number) : std::u16string(fromStored(value.text).view());
  }

 private:
  struct Bound {
    std::string text;
    std::int64_t number = 0;
    bool isText = false;
    bool isNumber = false;
  };

  static Bound converted(const Parameter& parameter) {
    Bound bound;
    switch (parameter.Type) {
      case adVarWChar: bound.isText = true, bound.text = textOf(parameter); break;
      case adDate: bound.isText = true, bound.text = toStoredDate(toDate(parameter.Value.get())); break;
      case adBigInt: bound.isNumber = true, bound.number = numberOf(parameter, INT64_MIN, INT64_MAX); break;
      case adInteger: bound.isNumber = true, bound.number = numberOf(parameter, INT32_MIN, INT32_MAX); break;
      case adSmallInt: bound.isNumber = true, bound.number = numberOf(parameter, INT16_MIN, INT16_MAX); break;
    }
    return bound;
  }
  static std::string textOf(const Parameter& parameter) {
    const BorrowedText text(parameter.Value.get());
    const std::size_t size = text.view().size();
    if (size > static_cast<std::size_t>(parameter.Size))
      badParameter(parameter, ErrorNumber::InvalidArgument,
                   u"is too long: " + decimal(size) + u" characters, and at most " + decimal(parameter.Size) +
                       u" are allowed. Nothing was stored.");
    return toStored(text.view());
  }
  static std::int64_t numberOf(const Parameter& parameter, std::int64_t least, std::int64_t most) {
    const VARIANT& value = parameter.Value.get();
    std::int64_t number = 0;
    bool fits = true;
    if (value.vt == VT_BSTR) {
      // Digits, with a sign at the most: what the platform also takes for numbers ("1.6", "$2") is no
      // identifier.
      std::u16string_view digits = StringRef(value.bstrVal);
      const bool isNegative = digits.starts_with(u'-');
      if (isNegative) digits.remove_prefix(1);
      const auto isDigit = [](char16_t c) { return c >= u'0' && c <= u'9'; };
      if (digits.empty() || !std::ranges::all_of(digits, isDigit))
        badParameter(parameter, ErrorNumber::TypeMismatch,
                     u"must be a whole number, and is not: " + shownValue(parameter));
      for (const char16_t c : digits)
        fits = fits && !__builtin_mul_overflow(number, 10, &number) &&
               !__builtin_sub_overflow(number, c - u'0', &number);  // downwards: the least has no positive
      if (!isNegative) fits = fits && !__builtin_sub_overflow(0, number, &number);
    } else {
      number = toInt64(value);
    }
    if (!fits || number < least || number > most)
      badParameter(parameter, ErrorNumber::Overflow, u"is out of range: " + shownValue(parameter));
    return number;
  }
  static std::u16string shownValue(const Parameter& parameter) {
    return u"\"" + std::u16string(toString(parameter.Value.get()).view()) + u"\".";
  }

  std::vector<Bound> values_;
};

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
    return type_ == adCmdText ? SqliteAccess::query(connection_, text_) : callProcedure();
  }

 private:
  std::unique_ptr<Recordset> callProcedure() {
    SqliteConnection& connection = ours(connection_);
    const StoreProcedure* procedure = nullptr;
    for (const StoreProcedure& candidate : connection.definition().procedures)
      if (candidate.name == text_) procedure = &candidate;
    if (procedure == nullptr)
      throw Error(static_cast<std::int32_t>(0x80040E14u), storeSource,
                  u"Could not find stored procedure \"" + text_ + u"\".");
    const BoundParameters bound(parameters_);
    return connection.run(procedure->access, timeout_, [&](Database& database) {
      std::unique_ptr<Recordset> records;
      for (const ProcedureStep& step : procedure->steps) take(step, database, bound, records);
      return records;
    });
  }

  void take(const ProcedureStep& step, Database& database, const BoundParameters& bound,
            std::unique_ptr<Recordset>& records) {
    Statement statement = database.prepare(step.sql);
    bound.bindTo(statement);
    switch (step.outcome) {
      case ProcedureStep::Outcome::Nothing: statement.step(); break;
      case ProcedureStep::Outcome::Rows: records = std::make_unique<Rows>(statement); break;
      case ProcedureStep::Outcome::Output:
        if (statement.step()) parameters_.at(step.output).Value = Variant(statement.integer(0));
        statement.step();
        break;
      case ProcedureStep::Outcome::Required:
        if (statement.step()) break;
        std::u16string failure(step.failure);
        if (const auto mark = failure.find(u"%1"); mark != std::u16string::npos)
          failure.replace(mark, 2, bound.shown(0));
        throw Error(ErrorNumber::InvalidArgument, storeSource, failure);
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

std::unique_ptr<Recordset> SqliteAccess::query(const std::shared_ptr<Connection>& connection,
                                               std::u16string_view text) {
  const LiftedQuery lifted = liftLiterals(text);
  return ours(connection)
      .run(StoreProcedure::Access::Reads, defaultTimeout,
           [&](Database& database) -> std::unique_ptr<Recordset> {
             Statement statement = database.prepare(lifted.sql);
             for (std::size_t i = 0; i < lifted.literals.size(); ++i)
               statement.bindText(static_cast<int>(i + 1), lifted.literals[i]);
             return std::make_unique<Rows>(statement);
           });
}

}  // namespace CorvaneQueue::platform_layer
