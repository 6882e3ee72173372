// The rows of a statement that was executed.
#pragma once

#include "Odbc.h"
#include "RowsInMemory.h"

#include <memory>

namespace CorvaneQueue::platform_layer {

// Whether long texts are for one who reads them now, or for a list that keeps them in their stored form.
enum class Texts { AtOnce, LongOnesStored };
// How the driver gives texts. It makes 16-bit characters of what a server sends as UTF-8, one by one.
enum class TextForm { Utf16, Utf8 };

// Reads them to their end, behind those that are there already: texts of any length, date-times to the
// second, whole numbers. False when the statement has no rows to give.
bool readRows(const OdbcHandle& statement, TextForm form, Texts texts, std::unique_ptr<RowsInMemory>& rows);

}  // namespace CorvaneQueue::platform_layer
