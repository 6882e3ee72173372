// The parameters of a call, bound to a statement.
#pragma once

#include "DatabaseAccess.h"
#include "Odbc.h"

#include <CorvaneQueue/Variant.h>
#include <memory>
#include <span>
#include <vector>

namespace CorvaneQueue::platform_layer {

// A text with a character that not every server can hold, U+0000 or half of a surrogate pair, is refused with
// error 5.
void mustBeCarried(std::u16string_view name, std::u16string_view text);

// Input values are checked and converted before anything is sent.
class OdbcParameters {
 public:
  enum class Outputs { Bound, InRow };
  OdbcParameters(std::span<Parameter> parameters, Outputs outputs);
  explicit OdbcParameters(std::span<const std::u16string> texts);
  OdbcParameters(const OdbcParameters&) = delete;
  OdbcParameters& operator=(const OdbcParameters&) = delete;

  // This must outlive the statement's execution.
  void bindTo(const OdbcHandle& statement);
  // The input values as texts, should all of them together be short; else none.
  std::vector<std::u16string> asTexts() const;
  // The values of bound outputs, once the statement is done.
  void takeOutputs();

 private:
  struct Bound {
    Parameter* output = nullptr;
    SQLSMALLINT direction = SQL_PARAM_INPUT;
    SQLSMALLINT cType = SQL_C_SBIGINT;
    SQLSMALLINT sqlType = SQL_BIGINT;
    SQLULEN size = 0;
    std::int64_t number = 0;
    std::u16string_view text;
    SQL_TIMESTAMP_STRUCT time{};
    SQLLEN length = 0;
  };
  void addText(std::u16string_view text, std::size_t most);
  std::vector<std::unique_ptr<BorrowedText>> texts_;
  std::vector<Bound> bound_;
};

}  // namespace CorvaneQueue::platform_layer
