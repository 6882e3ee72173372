// The same durable work as the queue service does, by a plain program: its schema and its statements.
#pragma once

#include "PlainFile.h"

#include <cstdint>

class PlainQueue : public PlainFile {
 public:
  explicit PlainQueue(const std::filesystem::path& file);

  // Inside a transaction. The queue is a box of the service.
  void send(std::int64_t box, const std::string& body);
  // The key of the first message, 0 when there is none.
  std::int64_t receive(std::int64_t box, std::string& body);
  void remove(std::int64_t key, std::size_t size);

 private:
  sqlite3_stmt *number_, *put_, *putApart_, *first_, *readApart_, *drop_, *dropApart_;
};
