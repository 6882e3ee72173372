// A record set held in memory, so that it knows its true count.
#pragma once

#include "Database.h"
#include "DatabaseAccess.h"

#include <memory>
#include <vector>

namespace CorvaneQueue::platform_layer {

class Rows final : public Recordset {
 public:
  // Reads the statement to its end. Text stays in stored form until a field is asked for.
  explicit Rows(Statement& statement);

  std::int32_t RecordCount() const override;
  void MoveFirst() override { current_ = 0; }
  void MoveNext() override;
  bool EndOfFile() const override { return current_ >= rowCount_; }
  Variant Field(std::int32_t position) const override;

 private:
  enum class Kind : std::uint8_t { Null, Integer, Real, Text, DateTime };
  struct Cell {
    const char* bytes = nullptr;
    std::int64_t number = 0;  // or the size of the text, or the bits of a real
    Kind kind = Kind::Null;
  };
  const char* keep(std::string_view bytes);

  std::size_t columnCount_;
  std::size_t rowCount_ = 0;
  std::size_t current_ = 0;
  std::vector<Cell> cells_;
  std::vector<std::unique_ptr<char[]>> blocks_;
  char* free_ = nullptr;
  std::size_t freeSize_ = 0;
};

// The stored form of a date-time, "YYYY-MM-DD HH:MM:SS".
std::string toStoredDate(Date date);
Date fromStoredDate(std::string_view text);

}  // namespace CorvaneQueue::platform_layer
