// The schema of an embedded store, and how older ones are brought up to date.
#pragma once

#include "StoreErrors.h"

#include <span>
#include <string_view>

namespace CorvaneQueue::platform_layer {

// Who opens the store: the first session alone may change its schema, a reader takes it as it is.
enum class Opener { First, Later, Reader };

// Brings the schema up to date: `migrations[i]` leads from version i to i + 1. All of it or nothing, also
// when the process is killed. Refuses a newer schema, a database of some other program, an older store that
// other processes have open, and what a reader cannot use as it is.
void bringUpToDate(sqlite3* handle, const StoreFile& file, std::span<const std::string_view> migrations,
                   Opener opener);

// The first column of the first row, as a number.
std::int64_t numberOf(sqlite3* handle, const StoreFile& file, const char* sql);
// Runs statements.
void run(sqlite3* handle, const StoreFile& file, const std::string& sql, const char* tried);

}  // namespace CorvaneQueue::platform_layer
