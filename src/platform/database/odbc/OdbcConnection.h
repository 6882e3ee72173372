// A connection to a database server.
#pragma once

#include "Dialect.h"
#include "OdbcParameters.h"
#include "OdbcRows.h"

#include <map>
#include <memory>
#include <optional>
#include <unordered_map>

namespace CorvaneQueue::platform_layer {

// Throws OdbcFailure.
class OdbcConnection {
 public:
  explicit OdbcConnection(const ServerPlace& place);
  ~OdbcConnection();
  OdbcConnection(const OdbcConnection&) = delete;
  OdbcConnection& operator=(const OdbcConnection&) = delete;

  bool isTo(const ServerPlace& place) const noexcept {
    return place.engine == place_.engine && place.connection == place_.connection &&
           place.password == place_.password;
  }
  const Dialect& dialect() const noexcept { return dialect_; }
  // The connection string with what the driver has added, the password too.
  const std::u16string& completed() const noexcept { return completed_; }
  // Whether senders may give keys of their own here. Asks the server once.
  bool takesSenderKeys();

  // A text without parameters and without rows.
  void execute(std::u16string_view sql);
  void executeFirst(std::u16string_view sql) {
    if (!sql.empty()) execute(sql);
  }
  // Undoes all of the transaction, or what came behind a mark, by such a text.
  void undo(std::u16string_view sql);
  // The rows of a text, if it has any. Statements that are `kept` are prepared once.
  enum class Keep { Yes, No };
  std::unique_ptr<RowsInMemory> run(const std::u16string& sql, OdbcParameters& parameters,
                                    std::int32_t seconds, Keep keep) {
    std::unique_ptr<RowsInMemory> rows;
    run(sql, parameters, seconds, keep, Texts::AtOnce, rows);
    return rows;
  }

  // The rows, however many, of a text that opens a cursor. `before` goes before it.
  std::unique_ptr<RowsInMemory> list(std::u16string_view before, std::u16string text, std::int32_t seconds);
  // Long texts are kept in their stored form.
  std::unique_ptr<RowsInMemory> list(const std::u16string& sql, OdbcParameters& parameters,
                                     std::int32_t seconds) {
    std::unique_ptr<RowsInMemory> rows;
    run(sql, parameters, seconds, Keep::No, Texts::LongOnesStored, rows);
    return rows;
  }
  // The rows of a call with these values, and what goes before it in the same round trip; a call is prepared
  // with its first use.
  std::unique_ptr<RowsInMemory> runTogether(std::u16string_view before, std::u16string_view procedure,
                                            std::span<const std::u16string> values, std::int32_t seconds);

  // Of the process that this one was forked off: not to be used.
  bool isInherited() const noexcept;
  // False when the connection is known to be lost.
  bool isAlive() const noexcept;
  // Ends what was begun; false when it is not known to be clean.
  bool clean() noexcept;
  void isInTransaction(bool is) noexcept { isInTransaction_ = is; }

 private:
  // The rows go behind those that are there.
  void run(const std::u16string& sql, OdbcParameters& parameters, std::int32_t seconds, Keep keep,
           Texts texts, std::unique_ptr<RowsInMemory>& rows);
  void limit(const OdbcHandle& statement, std::int32_t seconds);
  bool givesUtf8();
  // A statement for texts that are not kept, the same one each time.
  const OdbcHandle& made(OdbcHandle& statement) const {
    if (statement.get() == nullptr) statement = OdbcHandle(SQL_HANDLE_STMT, connection_.get());
    return statement;
  }
  ServerPlace place_;
  const Dialect& dialect_;
  int process_;
  std::u16string completed_;
  std::optional<bool> takesSenderKeys_;
  OdbcHandle environment_;
  OdbcHandle connection_;
  OdbcHandle executing_;  // without rows and attributes
  OdbcHandle reading_;
  std::unordered_map<std::u16string, OdbcHandle> prepared_;
  std::map<std::u16string, std::u16string, std::less<>> named_;  // the names of calls
  TextForm form_ = TextForm::Utf16;
  std::int32_t limit_ = -1;
  bool isInTransaction_ = false;
};

}  // namespace CorvaneQueue::platform_layer
