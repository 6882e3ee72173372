// What workers tried and failed over, in a table of an embedded store.
#pragma once

#include "RunNotes.h"

#include <utility>

namespace CorvaneQueue::platform_layer {

// A row stays while its document waits. Who takes a document otherwise than a worker does not look here: with
// each failure some rows are looked at, in turn, and those of documents that do not wait any more go.
class Attempts {
 public:
  // The columns of the table are called messageId, attempts and reason. `waits` is a condition: whether the
  // document of a row f waits. `runs` is the table of RunNotes.
  Attempts(const char* table, const char* waits, const char* runs)
      : table_(table), waits_(waits), runs_(runs) {}

  // Counts one more; how many there have been. What dies with the machine is an attempt, not a document.
  std::int32_t begin(Database& database, std::int64_t document) {
    std::int64_t count = 1;
    write(database, Database::Durable::Later, [&] {
      Statement row =
          database.rows("INSERT INTO dbo." + table_ +
                            " (messageId, attempts, reason) VALUES (?1, 1, '')"
                            " ON CONFLICT DO UPDATE SET attempts = attempts + 1 RETURNING attempts",
                        document);
      while (row.step()) count = row.integer(0);
      if (count > 1 || !std::exchange(hasLooked_, true)) dropSome(database);
    });
    return static_cast<std::int32_t>(count);
  }
  void end(Database& database, std::int64_t document) {
    write(database, Database::Durable::Later, [&] { forget(database, document); });
  }
  // Why the last one failed, and how many count from now on.
  void fail(Database& database, std::int64_t document, std::string_view reason, std::int32_t attempts) {
    write(database, Database::Durable::Now, [&] {
      database.execute("UPDATE dbo." + table_ + " SET reason = ?2, attempts = ?3 WHERE messageId = ?1",
                       document, reason, attempts);
      dropSome(database);
    });
  }
  // Empty for none.
  std::string reason(Database& database, std::int64_t document) const {
    Statement row = database.rows("SELECT reason FROM dbo." + table_ + " WHERE messageId = ?1", document);
    return row.step() ? std::string(row.text(0)) : std::string();
  }

  bool isAny(Database& database) const {
    return database.prepare("SELECT 1 FROM dbo." + table_ + " LIMIT 1").step();
  }
  // Inside a write.
  void forget(Database& database, std::int64_t document) const {
    database.execute("DELETE FROM dbo." + table_ + " WHERE messageId = ?1", document);
  }

 private:
  static void write(Database& database, Database::Durable durable, const std::function<void()>& work) {
    database.write(Database::Purpose::Frees, std::chrono::seconds(30), work, durable);
  }
  void dropSome(Database& database) const {
    constexpr int some = 8;
    const char* const place = "attempts";
    RunNotes notes(database, runs_);
    const std::int64_t from = notes.position(place);
    std::int64_t last = 0;
    {
      Statement row = database.rows("SELECT max(messageId), count(*) FROM (SELECT messageId FROM dbo." +
                                        table_ + " WHERE messageId > ?1 ORDER BY messageId LIMIT ?2)",
                                    from, some);
      if (row.step() && row.integer(1) == some) last = row.integer(0);
    }
    database.execute("DELETE FROM dbo." + table_ +
                         " AS f WHERE messageId > ?1 AND (?2 = 0 OR messageId <= ?2) AND NOT " + waits_,
                     from, last);
    if (from != last) notes.put({place, last, {}});  // from the first one again behind the last
  }

  std::string table_;
  std::string waits_;
  const char* runs_;
  bool hasLooked_ = false;
};

}  // namespace CorvaneQueue::platform_layer
