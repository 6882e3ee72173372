// The same durable work as the database store does, by a plain program: its schema and its statements.
#pragma once

#include "PlainFile.h"

#include <cstdint>

class PlainStore : public PlainFile {
 public:
  explicit PlainStore(const std::filesystem::path& file);

  // Inside a transaction.
  void send(const std::string& queue, const std::string& body);
  // The identifier of the first waiting document, 0 when there is none.
  std::int64_t receive(const std::string& queue, std::string& body);
  void acknowledge(std::int64_t identifier);
  // Reads all waiting documents into memory; returns the bytes of their bodies.
  std::size_t readAll(const std::string& queue);

 private:
  sqlite3_stmt *register_, *insert_, *wait_, *first_, *find_, *acknowledge_, *take_, *all_;
};
