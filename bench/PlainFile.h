// A store file as a plain program uses it: the library's way of locking and syncing, with nothing around
// it.
#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

class PlainFile {
 public:
  // Opens a file that the library has made.
  explicit PlainFile(const std::filesystem::path& file);
  ~PlainFile();
  PlainFile(const PlainFile&) = delete;
  PlainFile& operator=(const PlainFile&) = delete;

  void begin();
  void commit();

 protected:
  sqlite3_stmt* prepare(const char* sql);
  void run(sqlite3_stmt* statement);
  static void bindText(sqlite3_stmt* statement, int parameter, const std::string& text) {
    sqlite3_bind_text(statement, parameter, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  }

 private:
  sqlite3* handle_ = nullptr;
  int lock_ = -1;
  std::vector<sqlite3_stmt*> prepared_;
  sqlite3_stmt* begin_;
  sqlite3_stmt* commit_;
};
