// A statement of an embedded store.
#pragma once

#include "StoreErrors.h"

#include <concepts>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

struct sqlite3_stmt;

namespace CorvaneQueue::platform_layer {

// A prepared statement while it is in use; resets itself for the next user. Parameters count from 1,
// columns from 0. Bytes that are bound or read are not copied: bound ones must stay until the
// statement is done, read ones are gone with the next step.
class Statement {
 public:
  Statement(sqlite3_stmt* statement, const StoreFile& file) noexcept : statement_(statement), file_(&file) {}
  Statement(Statement&& other) noexcept
      : statement_(std::exchange(other.statement_, nullptr)), file_(other.file_) {}
  Statement& operator=(Statement&&) = delete;
  ~Statement();

  int parameterCount() const noexcept;
  void bindNull(int parameter);
  void bind(int parameter, std::int64_t number);
  void bindText(int parameter, std::string_view bytes);
  void bindBlob(int parameter, std::span<const std::uint8_t> bytes);
  template <class... Values>
  void bindAll(Values&&... values) {
    static_assert((!std::is_same_v<Values, std::string> && ...),
                  "the text would be gone before the statement");
    int parameter = 0;
    (bindValue(++parameter, values), ...);
  }
  // Whether there is a row.
  bool step();
  // Begins again, with the same parameters.
  void reset() noexcept;
  int columnCount() const noexcept;
  enum class Type { Null, Integer, Real, Text, Blob };
  Type type(int column) const noexcept;
  // The declared type of a table's column, empty for an expression.
  std::string_view declaredType(int column) const noexcept;
  std::int64_t integer(int column) const noexcept;
  double real(int column) const noexcept;
  std::string_view text(int column) const;
  std::span<const std::uint8_t> blob(int column) const;

 private:
  template <std::integral Number>
  void bindValue(int parameter, Number number) {
    bind(parameter, static_cast<std::int64_t>(number));
  }
  void bindValue(int parameter, std::string_view text) { bindText(parameter, text); }
  void bindValue(int parameter, std::span<const std::uint8_t> bytes) { bindBlob(parameter, bytes); }
  template <class Value>
  void bindValue(int parameter, const std::optional<Value>& value) {
    value ? bindValue(parameter, *value) : bindNull(parameter);
  }
  void check(int code, const char* tried) const;
  sqlite3_stmt* statement_;
  const StoreFile* file_;
};

}  // namespace CorvaneQueue::platform_layer
