// A record set held in memory, so that it knows its true count.
#pragma once

#include "Database.h"
#include "DatabaseAccess.h"

#include <utility>
#include <vector>

namespace CorvaneQueue::platform_layer {

class Rows final : public Recordset {
 public:
  enum class From { Beginning, CurrentRow };
  // Reads the statement to its end.
  explicit Rows(Statement& statement, From from = From::Beginning);

  std::int32_t RecordCount() const override;
  void MoveFirst() override { current_ = 0; }
  void MoveNext() override;
  bool EndOfFile() const override { return current_ >= rowCount_; }
  Variant Field(std::int32_t position) override { return cell(position); }
  Variant TakeField(std::int32_t position) override { return std::exchange(cell(position), Variant()); }

 private:
  Variant& cell(std::int32_t position);

  std::size_t columnCount_;
  std::size_t rowCount_ = 0;
  std::size_t current_ = 0;
  std::vector<Variant> cells_;
};

// The stored form of a date-time, "YYYY-MM-DD HH:MM:SS".
std::string toStoredDate(Date date);
Date fromStoredDate(std::string_view text);

}  // namespace CorvaneQueue::platform_layer
