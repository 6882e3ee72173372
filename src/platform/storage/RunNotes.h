// How far work has come that can be taken up again, in a table of an embedded store.
#pragma once

#include "Database.h"
#include "StoreOperations.h"

namespace CorvaneQueue::platform_layer {

class RunNotes {
 public:
  // Its columns are called run and position. The database must outlive it.
  RunNotes(Database& database, const char* table) : database_(database), table_(table) {}

  std::vector<RunNote> of(std::string_view work, std::string_view queue) {
    std::vector<RunNote> notes;
    const std::string end = RunNote::intoQueue + std::string(queue);
    Statement row =
        database_.rows("SELECT run, position FROM dbo." + table_ +
                           " WHERE substr(run, 1, length(?1)) = ?1"
                           " AND substr(run, -length(?2)) = ?2 COLLATE QUEUE_NAME ORDER BY position",
                       work, std::string_view(end));
    while (row.step()) notes.push_back({std::string(row.text(0)), row.integer(1), {}});
    return notes;
  }
  // Of one by its whole name, 0 when there is none.
  std::int64_t position(std::string_view run) {
    Statement row = database_.rows("SELECT position FROM dbo." + table_ + " WHERE run = ?1", run);
    return row.step() ? row.integer(0) : 0;
  }
  // These inside a write:
  void put(const RunNote& note) {
    if (note.run.empty()) return;
    if (!note.replaced.empty() && note.replaced != note.run) forget(note.replaced);
    database_.execute("INSERT OR REPLACE INTO dbo." + table_ + " (run, position) VALUES (?1, ?2)",
                      std::string_view(note.run), note.position);
  }
  void forget(std::string_view run) {
    database_.execute("DELETE FROM dbo." + table_ + " WHERE run = ?1", run);
  }
  void forgetQueue(std::string_view queue) {
    const std::string end = RunNote::intoQueue + std::string(queue);
    database_.execute("DELETE FROM dbo." + table_ + " WHERE substr(run, -length(?1)) = ?1 COLLATE QUEUE_NAME",
                      std::string_view(end));
  }

 private:
  Database& database_;
  std::string table_;
};

}  // namespace CorvaneQueue::platform_layer
