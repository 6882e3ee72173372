#include "Documents.h"
#include "System.h"

#include <CorvaneQueue/Error.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <system_error>

namespace corvaneq {

using CorvaneQueue::Error;
using CorvaneQueue::fromUtf8;
using CorvaneQueue::String;

namespace {

[[noreturn]] void failed(const std::string& what, const std::string& file, const std::string& reason) {
  throw Error(CorvaneQueue::ErrorNumber::InvalidArgument, u"corvaneq",
              fromUtf8("\"" + file + "\" " + what + ": " + reason));
}

std::string contentOf(const std::string& file) {
  if (file == "-") {
    std::string content;
    char part[4096];
    for (std::size_t size; (size = std::fread(part, 1, sizeof part, stdin)) > 0;) content.append(part, size);
    if (std::ferror(stdin) != 0) failed("cannot be read", file, std::generic_category().message(errno));
    return content;
  }
  if (std::filesystem::is_directory(fileNamed(file))) failed("cannot be read", file, "it is a directory");
  std::ifstream stream(fileNamed(file), std::ios::binary);
  if (!stream) failed("cannot be read", file, std::generic_category().message(errno));
  std::string content(std::istreambuf_iterator<char>(stream), {});
  if (stream.bad()) failed("cannot be read", file, std::generic_category().message(errno));
  return content;
}

String converted(const std::string& file, const std::string& content, const std::string& encoding) {
  try {
    return String(decoded(content, encoding));
  } catch (const std::runtime_error& error) {
    failed("is not text in the encoding " + encoding, file, error.what());
  }
}

}  // namespace

String readDocument(const std::string& file, const std::string& encoding) {
  const std::string content = contentOf(file);
  if (!encoding.empty()) return converted(file, content, encoding);
  try {
    return fromUtf8(content);
  } catch (const Error& error) {
    failed("is not a document", file, error.what() + std::string(" Name another encoding with --encoding."));
  }
}

void writeDocument(const std::filesystem::path& file, std::u16string_view document) {
  const std::string content = CorvaneQueue::toUtf8(document);
  if (!std::filesystem::exists(file)) return writeFile(file, content);
  if (contentOf(nameOf(file)) != content)
    failed("is not overwritten", nameOf(file), "it has another content. The document stays in the queue");
}

void writeFile(const std::filesystem::path& file, const std::string& content) {
  std::filesystem::path temporary = file;
  temporary += ".new";
  std::error_code error;
  if (file.has_parent_path()) std::filesystem::create_directories(file.parent_path(), error);
  if (!error) {
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    if (!stream) error = std::error_code(errno, std::generic_category());
  }
  if (!error) std::filesystem::rename(temporary, file, error);
  if (!error) return;
  std::error_code ignored;
  std::filesystem::remove(temporary, ignored);
  failed("cannot be written", nameOf(file), error.message());
}

}  // namespace corvaneq
