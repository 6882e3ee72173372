// A record set held in memory, so that it knows its true count.
#pragma once

#include "DatabaseAccess.h"

#include <utility>
#include <vector>

namespace CorvaneQueue::platform_layer {

class RowsInMemory final : public Recordset {
 public:
  explicit RowsInMemory(std::size_t columnCount) noexcept : columnCount_(columnCount) {}
  // The next field, row by row. An omitted value stands for the body of a damaged document, a byte array for
  // the text of which it is the stored form.
  void add(Variant field) { cells_.push_back(std::move(field)); }

  std::int32_t RecordCount() const override { return static_cast<std::int32_t>(rowCount()); }
  void MoveFirst() override { current_ = 0; }
  void MoveNext() override;
  bool EndOfFile() const override { return current_ >= rowCount(); }
  Variant Field(std::int32_t position) override { return valueOf(cell(position)); }
  Variant TakeField(std::int32_t position) override {
    return valueOf(std::exchange(cell(position), Variant()));
  }
  Variant TakeText(std::int32_t position) override { return std::exchange(cell(position), Variant()); }

 private:
  std::size_t rowCount() const noexcept { return columnCount_ == 0 ? 0 : cells_.size() / columnCount_; }
  Variant& cell(std::int32_t position);
  static Variant valueOf(Variant value);

  std::size_t columnCount_;
  std::size_t current_ = 0;
  std::vector<Variant> cells_;
};

}  // namespace CorvaneQueue::platform_layer
