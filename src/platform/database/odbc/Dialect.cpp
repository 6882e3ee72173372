#include "Dialect.h"

#include "OdbcParameters.h"
#include "QueryText.h"
#include "StoredText.h"

#include <map>

namespace CorvaneQueue::platform_layer {

namespace {

// A value of a connection string, whatever is in it.
std::u16string braced(std::u16string_view value) {
  std::u16string text = u"{";
  for (const char16_t c : value) {
    text += c;
    if (c == u'}') text += c;
  }
  return text += u'}';
}

std::u16string withPassword(const ServerPlace& place) {
  std::u16string text = place.connection;
  while (text.ends_with(u';') || text.ends_with(u' ')) text.pop_back();
  if (!place.password.empty()) text += u";PWD=" + braced(place.password);
  return text;
}

// Adds the text between marks.
void quote(std::u16string& target, std::u16string_view text, char16_t mark) {
  target += mark;
  for (std::size_t from = 0;;) {
    const auto end = text.find(mark, from);
    target += text.substr(from, end - from);
    if (end == text.npos) break;
    target.append(2, mark);
    from = end + 1;
  }
  target += mark;
}

std::u16string quoted(std::u16string_view text, char16_t mark) {
  std::u16string result;
  quote(result, text, mark);
  return result;
}

// Replaces each [name] and each marked literal.
template <class Name, class Literal>
std::u16string replaced(const LiftedQuery& query, const Name& name, const Literal& literal) {
  const auto sql = fromStored(query.sql);
  const std::u16string_view text = sql.view();
  std::u16string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'[') {
      const auto end = std::min(text.find(u']', i), text.size());
      result += name(text.substr(i + 1, end - i - 1));
      i = end;
    } else if (text[i] == u'?') {
      std::size_t number = 0;
      for (; i + 1 < text.size() && text[i + 1] >= u'0' && text[i + 1] <= u'9'; ++i)
        number = number * 10 + static_cast<std::size_t>(text[i + 1] - u'0');
      const auto value = fromStored(query.literals.at(number - 1));
      mustBeCarried(u"Queue", value.view());
      result += literal(value.view());
    } else {
      result += text[i];
    }
  }
  return result;
}

class PostgreSql final : public Dialect {
  std::u16string connectionString(const ServerPlace& place) const override {
    // Line ends stay as they are, a failed statement is ours to undo, statements are prepared there, and a
    // host that is gone is noticed.
    return withPassword(place) +
           u";KeepaliveTime=30;KeepaliveInterval=10;LFConversion=0;Protocol=7.4-0;UseServerSidePrepare=1;UseDeclareFetch=0;"
           u"TextAsLongVarchar=1;UnknownsAsLongVarchar=1";
  }
  std::u16string_view onConnect() const override {
    // Cursors are read to their end.
    return u"SET standard_conforming_strings = on; SET default_transaction_isolation = 'read committed'; "
           u"SET cursor_tuple_fraction = 1";
  }
  bool isUtf8() const noexcept override { return true; }
  std::u16string timeLimit(std::int32_t seconds) const override {
    return u"SET statement_timeout = " + decimal(std::int64_t{seconds} * 1000);
  }
  std::u16string callText(std::u16string_view procedure,
                          std::span<const Parameter> parameters) const override {
    std::u16string marks;
    for (const Parameter& parameter : parameters)
      if (parameter.Direction == adParamInput) marks += marks.empty() ? u"?" : u", ?";
    return u"SELECT * FROM " + names(procedure) + u"(" + marks + u")";
  }
  bool takesTextsTogether() const noexcept override { return true; }
  // Parameters and literals without a type are taken as the procedure wants them.
  std::u16string prepareText(std::u16string_view name, std::u16string_view procedure,
                             std::size_t values) const override {
    std::u16string marks;
    for (std::size_t i = 1; i <= values; ++i)
      marks += (i == 1 ? u"$" : u", $") + decimal(static_cast<std::int64_t>(i));
    return u"PREPARE " + std::u16string(name) + u" AS SELECT * FROM " + names(procedure) + u"(" + marks +
           u")";
  }
  std::u16string executeText(std::u16string_view name,
                             std::span<const std::u16string> values) const override {
    return u"EXECUTE " + std::u16string(name) + literals(values);
  }
  bool returnsOutputsAsRow() const noexcept override { return true; }
  std::u16string_view takesSenderKeys() const noexcept override {
    return u"SELECT count(*) FROM pg_proc p JOIN pg_namespace n ON n.oid = p.pronamespace"
           u" WHERE n.nspname = 'dbo' AND p.proname = 'mdqCreateMessageOnce'";
  }
  // A literal without a type is compared as the column says: parameters would be of type text.
  ServerText queryText(std::u16string_view text) const override {
    return {replaced(
                liftLiterals(text), [](std::u16string_view name) { return quoted(name, u'"'); },
                [](std::u16string_view literal) { return quoted(literal, u'\''); }),
            {}};
  }
  std::u16string openCursor(std::u16string_view text) const override {
    return u"DECLARE corvane_rows NO SCROLL CURSOR FOR " + std::u16string(text) + u"; " + fetch();
  }
  std::u16string openCursor(std::u16string_view procedure,
                            std::span<const std::u16string> values) const override {
    return openCursor(u"SELECT * FROM " + names(procedure) + literals(values));
  }
  std::u16string fetch() const override { return u"FETCH " + decimal(fetched) + u" FROM corvane_rows"; }
  std::u16string_view closeCursor() const noexcept override { return u"CLOSE corvane_rows"; }
  std::u16string_view begin() const noexcept override { return u"BEGIN"; }
  std::u16string_view commit() const noexcept override { return u"COMMIT"; }
  std::u16string_view rollback() const noexcept override { return u"ROLLBACK"; }
  std::u16string savepoint(std::u16string_view name) const override {
    return u"SAVEPOINT " + std::u16string(name);
  }
  std::u16string release(std::u16string_view name) const override {
    return u"RELEASE SAVEPOINT " + std::u16string(name);
  }
  std::u16string rollbackTo(std::u16string_view name) const override {
    return u"ROLLBACK TO SAVEPOINT " + std::u16string(name);
  }
  bool mayLeaveTransactions() const noexcept override { return false; }
  FailureKind kindOf(const Diagnosis& diagnosis) const override {
    static const std::map<std::string, FailureKind, std::less<>> states = {
        {"P0001", FailureKind::Refused},    {"57014", FailureKind::Timeout},
        {"HYT00", FailureKind::Timeout},    {"HYT01", FailureKind::Connection},
        {"55P03", FailureKind::Timeout},    {"42501", FailureKind::Permission},
        {"40001", FailureKind::Conflict},   {"40P01", FailureKind::Conflict},
        {"53100", FailureKind::DiskFull},   {"57P01", FailureKind::Connection},
        {"57P02", FailureKind::Connection}, {"57P03", FailureKind::Connection},
        {"25006", FailureKind::Connection},  // a server that has become one to read from
    };
    if (const auto found = states.find(diagnosis.state); found != states.end()) return found->second;
    if (diagnosis.is("08") || diagnosis.is("28") || diagnosis.is("IM")) return FailureKind::Connection;
    if (diagnosis.is("23")) return FailureKind::Integrity;
    if (diagnosis.is("42") || diagnosis.is("22")) return FailureKind::Statement;
    return FailureKind::Other;
  }

  static std::u16string literals(std::span<const std::u16string> values) {
    std::u16string text = u"(";
    for (const std::u16string& value : values) {
      if (text.size() > 1) text += u", ";
      quote(text, value, u'\'');
    }
    return text += u')';
  }
  static std::u16string names(std::u16string_view bracketed) {
    return replaced(
        liftLiterals(bracketed), [](std::u16string_view name) { return quoted(name, u'"'); },
        [](std::u16string_view) { return u""; });
  }
};

class SqlServer final : public Dialect {
  std::u16string connectionString(const ServerPlace& place) const override { return withPassword(place); }
  // The index of senders' keys is one of some rows, which needs these settings of whoever changes the table.
  std::u16string_view onConnect() const override {
    return u"SET XACT_ABORT OFF; SET NOCOUNT ON; SET ANSI_NULLS, ANSI_PADDING, ANSI_WARNINGS, ARITHABORT, "
           u"CONCAT_NULL_YIELDS_NULL, QUOTED_IDENTIFIER ON; SET NUMERIC_ROUNDABORT OFF";
  }
  bool isUtf8() const noexcept override { return false; }
  std::u16string timeLimit(std::int32_t) const override { return {}; }  // an attribute of the statement
  std::u16string callText(std::u16string_view procedure,
                          std::span<const Parameter> parameters) const override {
    std::u16string result;
    std::u16string marks;
    for (const Parameter& parameter : parameters)
      if (parameter.Direction == adParamReturnValue)
        result = u"? = ";
      else
        marks += marks.empty() ? u"?" : u", ?";
    return u"{" + result + u"call " + std::u16string(procedure) + u"(" + marks + u")}";
  }
  bool takesTextsTogether() const noexcept override { return false; }
  std::u16string prepareText(std::u16string_view, std::u16string_view, std::size_t) const override {
    return {};
  }
  std::u16string executeText(std::u16string_view, std::span<const std::u16string>) const override {
    return {};
  }
  bool returnsOutputsAsRow() const noexcept override { return false; }
  std::u16string_view takesSenderKeys() const noexcept override {
    return u"SELECT COUNT(*) FROM sys.procedures WHERE object_id = OBJECT_ID(N'dbo.mdqCreateMessageOnce')";
  }
  ServerText queryText(std::u16string_view text) const override {
    ServerText ready;
    ready.sql = replaced(
        liftLiterals(text), [](std::u16string_view name) { return u"[" + std::u16string(name) + u"]"; },
        [&](std::u16string_view literal) {
          ready.values.emplace_back(literal);
          return u"?";
        });
    return ready;
  }
  std::u16string openCursor(std::u16string_view) const override { return {}; }
  std::u16string openCursor(std::u16string_view, std::span<const std::u16string>) const override {
    return {};
  }
  std::u16string fetch() const override { return {}; }
  std::u16string_view closeCursor() const noexcept override { return {}; }
  std::u16string_view begin() const noexcept override { return u"BEGIN TRANSACTION"; }
  // A procedure that was cut off by a time limit may have left one of its own.
  std::u16string_view commit() const noexcept override { return u"WHILE @@TRANCOUNT > 0 COMMIT TRANSACTION"; }
  std::u16string_view rollback() const noexcept override {
    return u"IF @@TRANCOUNT > 0 ROLLBACK TRANSACTION";
  }
  std::u16string savepoint(std::u16string_view name) const override {
    return u"SAVE TRANSACTION " + std::u16string(name);
  }
  std::u16string release(std::u16string_view) const override { return {}; }
  std::u16string rollbackTo(std::u16string_view name) const override {
    return u"ROLLBACK TRANSACTION " + std::u16string(name);
  }
  bool mayLeaveTransactions() const noexcept override { return true; }
  FailureKind kindOf(const Diagnosis& diagnosis) const override {
    static const std::map<std::int32_t, FailureKind> numbers = {
        {1205, FailureKind::Conflict},  {3960, FailureKind::Conflict},  {1222, FailureKind::Timeout},
        {547, FailureKind::Integrity},  {2601, FailureKind::Integrity}, {2627, FailureKind::Integrity},
        {515, FailureKind::Integrity},  {229, FailureKind::Permission}, {230, FailureKind::Permission},
        {262, FailureKind::Permission}, {1105, FailureKind::DiskFull},  {9002, FailureKind::DiskFull},
    };
    if (const auto found = numbers.find(diagnosis.native); found != numbers.end()) return found->second;
    constexpr std::int32_t firstOfUsers = 50000;
    if (diagnosis.native >= firstOfUsers) return FailureKind::Refused;
    if (diagnosis.is("HYT")) return FailureKind::Timeout;
    if (diagnosis.is("08") || diagnosis.is("28") || diagnosis.is("IM") || diagnosis.is("01002"))
      return FailureKind::Connection;
    if (diagnosis.is("23")) return FailureKind::Integrity;
    if (diagnosis.is("42") || diagnosis.is("22") || diagnosis.is("37")) return FailureKind::Statement;
    return FailureKind::Other;
  }
};

}  // namespace

const Dialect& Dialect::of(ServerEngine engine) {
  static const PostgreSql postgreSql;
  static const SqlServer sqlServer;
  if (engine == ServerEngine::PostgreSql) return postgreSql;
  return sqlServer;
}

std::u16string valueOfKeyword(std::u16string_view connection, std::u16string_view keyword) {
  for (std::size_t at = 0; at < connection.size();) {
    const auto end = std::min(connection.find(u';', at), connection.size());
    const std::u16string_view part = connection.substr(at, end - at);
    const auto equals = part.find(u'=');
    if (equals != part.npos && foldCase(part.substr(0, equals)) == foldCase(keyword))
      return std::u16string(part.substr(equals + 1));
    at = end + 1;
  }
  return {};
}

}  // namespace CorvaneQueue::platform_layer
