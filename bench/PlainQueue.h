// The same durable work as the queue service does, by a plain program: its schema and its statements.
#pragma once

#include "PlainFile.h"

#include <cstdint>

class PlainQueue : public PlainFile {
 public:
  // Whether it keeps count of what is in the queue, as the service does.
  enum class Counts { No, Kept };
  explicit PlainQueue(const std::filesystem::path& file, Counts counts = Counts::No);

  // Inside a transaction. The queue is a box of the service.
  void send(std::int64_t box, const std::string& body);
  // The key of the first message, 0 when there is none.
  std::int64_t receive(std::int64_t box, std::string& body);
  void remove(std::int64_t key, std::size_t size);

 private:
  void count(std::int64_t box, std::int64_t messages, std::size_t size);
  Counts counts_;
  sqlite3_stmt *number_, *put_, *putApart_, *first_, *readApart_, *drop_, *dropApart_, *count_;
};
