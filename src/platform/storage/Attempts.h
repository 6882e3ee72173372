// What workers tried and failed over, in a table of an embedded store.
#pragma once

#include "Database.h"

namespace CorvaneQueue::platform_layer {

// The statements name the document as the first parameter.
struct AttemptStatements {
  std::string_view begin;  // gives the count
  std::string_view end;
  std::string_view fail;  // the second parameter: why; the third: how many attempts count
  std::string_view reason;
};

// What dies with the machine is an attempt, not a document.
inline std::int32_t beginAttempt(Database& database, const AttemptStatements& sql, std::int64_t document) {
  std::int64_t count = 1;
  database.write(
      Database::Purpose::Frees, std::chrono::seconds(30),
      [&] {
        Statement row = database.rows(sql.begin, document);
        while (row.step()) count = row.integer(0);
      },
      Database::Durable::Later);
  return static_cast<std::int32_t>(count);
}
inline void endAttempts(Database& database, const AttemptStatements& sql, std::int64_t document) {
  database.write(
      Database::Purpose::Frees, std::chrono::seconds(30), [&] { database.execute(sql.end, document); },
      Database::Durable::Later);
}
inline void noteFailure(Database& database, const AttemptStatements& sql, std::int64_t document,
                        std::string_view reason, std::int32_t attempts) {
  database.write(Database::Purpose::Frees, std::chrono::seconds(30),
                 [&] { database.execute(sql.fail, document, reason, attempts); });
}
inline std::string failureOf(Database& database, const AttemptStatements& sql, std::int64_t document) {
  Statement row = database.rows(sql.reason, document);
  return row.step() ? std::string(row.text(0)) : std::string();
}

}  // namespace CorvaneQueue::platform_layer
