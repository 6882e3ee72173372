// The same durable work as the database store does, by a plain program: its schema, its statements and
// its way of locking and syncing, with nothing around them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

class PlainStore {
 public:
  // Opens a store file that the library has made.
  explicit PlainStore(const std::filesystem::path& file);
  ~PlainStore();
  PlainStore(const PlainStore&) = delete;
  PlainStore& operator=(const PlainStore&) = delete;

  void begin();
  void commit();
  // Inside a transaction.
  void send(const std::string& queue, const std::string& body);
  // The identifier of the first waiting document, 0 when there is none.
  std::int64_t receive(const std::string& queue, std::string& body);
  void acknowledge(std::int64_t identifier);
  // Reads all waiting documents into memory; returns the bytes of their bodies.
  std::size_t readAll(const std::string& queue);

 private:
  sqlite3_stmt* prepare(const char* sql);
  void run(sqlite3_stmt* statement);
  sqlite3* handle_ = nullptr;
  int lock_ = -1;
  sqlite3_stmt *begin_, *commit_, *register_, *insert_, *wait_, *first_, *find_, *acknowledge_, *take_, *all_;
};
