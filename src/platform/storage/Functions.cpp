#include "Functions.h"

#include "StoredText.h"
#include "Summaries.h"

#include <CorvaneQueue/Error.h>

#include <sqlite3.h>
#include <cstdint>
#include <string_view>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace CorvaneQueue::platform_layer {

namespace {

// Called through the engine, which knows no exceptions.
int compareNames(void*, int leftSize, const void* left, int rightSize, const void* right) noexcept {
  const std::string_view a(static_cast<const char*>(left), static_cast<std::size_t>(leftSize));
  const std::string_view b(static_cast<const char*>(right), static_cast<std::size_t>(rightSize));
  if (a == b) return 0;
  try {
    return foldCase(fromStored(a)).compare(foldCase(fromStored(b)));
  } catch (...) {  // damaged bytes: any order will do
    return a.compare(b);
  }
}

void checksum(sqlite3_context* context, int count, sqlite3_value** values) noexcept {
  XXH64_hash_t hash = 0;
  for (int i = 0; i < count; ++i) {
    if (sqlite3_value_type(values[i]) == SQLITE_INTEGER) {
      const sqlite3_int64 number = sqlite3_value_int64(values[i]);
      hash = XXH3_64bits_withSeed(&number, sizeof number, hash);
    } else {
      const void* const bytes = sqlite3_value_blob(values[i]);
      hash = XXH3_64bits_withSeed(bytes, static_cast<std::size_t>(sqlite3_value_bytes(values[i])), hash);
    }
  }
  sqlite3_result_int64(context, static_cast<sqlite3_int64>(hash));
}

}  // namespace

int addFunctions(sqlite3* handle) noexcept {
  const int code =
      sqlite3_create_collation_v2(handle, "QUEUE_NAME", SQLITE_UTF8, nullptr, compareNames, nullptr);
  if (code != SQLITE_OK) return code;
  if (const int added = addLabelSigns(handle); added != SQLITE_OK) return added;
  return sqlite3_create_function_v2(handle, "checksum", -1,
                                    SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, nullptr, checksum,
                                    nullptr, nullptr, nullptr);
}

}  // namespace CorvaneQueue::platform_layer
