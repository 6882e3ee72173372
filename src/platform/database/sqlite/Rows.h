// The rows of a statement.
#pragma once

#include "Database.h"
#include "DatabaseAccess.h"

namespace CorvaneQueue::platform_layer {

// Reads the statement to its end.
enum class From { Beginning, CurrentRow };
std::unique_ptr<Recordset> rowsOf(Statement& statement, From from = From::Beginning);

// The stored form of a date-time, "YYYY-MM-DD HH:MM:SS".
std::string toStoredDate(Date date);
Date fromStoredDate(std::string_view text);

}  // namespace CorvaneQueue::platform_layer
