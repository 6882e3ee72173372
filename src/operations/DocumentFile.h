// Documents in a file: JSON Lines, an object a document (docs/stores-and-formats.md).
#pragma once

#include "OperatedStore.h"

#include <filesystem>
#include <fstream>

namespace CorvaneQueue {

// XXH3 in hexadecimal digits.
std::string checksumText(std::string_view bytes);

// Written as FILE.WHAT.part, which becomes FILE when it is whole; WHAT is another one for another export. One
// that is there goes on behind its last whole line.
class ExportFile {
 public:
  // Throws 5 when FILE is there.
  enum class Begin { Anew, WhereItEnded };
  ExportFile(std::filesystem::path file, const std::string& what, Begin begin);
  // In its list, of the last document that is in the file; 0 for none.
  std::int64_t position() const noexcept { return position_; }
  // How many documents are in it.
  std::int64_t count() const noexcept { return count_; }
  void add(std::u16string_view queue, const OperatedStore& store, const StoredDocument& document);
  // All of it is on the disk, under its name.
  void finish();

 private:
  void goOn();
  void mustBeGood(const char* tried);
  std::filesystem::path file_;
  std::filesystem::path part_;
  std::ofstream stream_;
  std::int64_t position_ = 0;
  std::int64_t count_ = 0;
  std::size_t unsynced_ = 0;  // bytes
};

class ImportFile {
 public:
  explicit ImportFile(std::filesystem::path file);
  std::string firstLine() const;
  // Behind which the next line stands, in bytes, and the checksum of all lines before it.
  std::int64_t position() const noexcept { return place_.position; }
  std::string checksum() const;
  std::int64_t line() const noexcept { return place_.line; }
  // Where an import has come to: behind the last of these places, in rising order, before which the same
  // lines stand in this file. Goes on there; nothing when it is none of them. A place without a checksum is
  // taken at its word.
  std::optional<std::size_t> goOn(std::span<const std::pair<std::int64_t, std::string>> places);
  // The next documents, as the queue keeps them; false at the end. Throws 5 that names a line that is wrong:
  // the documents before it come first.
  bool next(std::size_t count, std::u16string_view queue, const OperatedStore& store,
            std::vector<StoredDocument>& documents);

 private:
  struct Place {
    std::int64_t position = 0;
    std::int64_t line = 0;
    std::uint64_t checksum = 0;
  };
  [[noreturn]] void refuse(const std::string& what) const;
  StoredDocument documentIn(const std::string& line, std::u16string_view queue, const OperatedStore& store);
  void pass(const std::string& line);
  void goTo(const Place& place);
  std::filesystem::path file_;
  std::ifstream stream_;
  Place place_;
};

}  // namespace CorvaneQueue
