// The rows of a statement that was executed.
#pragma once

#include "Odbc.h"
#include "RowsInMemory.h"

#include <memory>

namespace CorvaneQueue::platform_layer {

// Reads them to their end: texts of any length, date-times to the second, whole numbers. Nothing when the
// statement has no rows to give.
std::unique_ptr<RowsInMemory> readRows(const OdbcHandle& statement);

}  // namespace CorvaneQueue::platform_layer
