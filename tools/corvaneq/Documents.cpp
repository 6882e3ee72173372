#include "Documents.h"

#include <CorvaneQueue/Error.h>

#include <iconv.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
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
  if (std::filesystem::is_directory(file)) failed("cannot be read", file, "it is a directory");
  std::ifstream stream(file, std::ios::binary);
  if (!stream) failed("cannot be read", file, std::generic_category().message(errno));
  std::string content(std::istreambuf_iterator<char>(stream), {});
  if (stream.bad()) failed("cannot be read", file, std::generic_category().message(errno));
  return content;
}

String converted(const std::string& file, std::string content, const std::string& encoding) {
  const iconv_t converter = iconv_open("UTF-16LE", encoding.c_str());
  if (converter == reinterpret_cast<iconv_t>(-1))
    failed("cannot be converted", file, "there is no encoding \"" + encoding + "\" (see iconv --list)");
  std::u16string text(content.size() + 1, u'\0');
  char* input = content.data();
  std::size_t inputLeft = content.size();
  char* output = reinterpret_cast<char*>(text.data());
  std::size_t outputLeft = text.size() * sizeof(char16_t);
  const std::size_t result = iconv(converter, &input, &inputLeft, &output, &outputLeft);
  iconv_close(converter);
  if (result == static_cast<std::size_t>(-1))
    failed("is not text in the encoding " + encoding, file,
           "byte " + std::to_string(content.size() - inputLeft) + " does not fit");
  text.resize(text.size() - outputLeft / sizeof(char16_t));
  return String(text);
}

}  // namespace

String readDocument(const std::string& file, const std::string& encoding) {
  std::string content = contentOf(file);
  if (!encoding.empty()) return converted(file, std::move(content), encoding);
  try {
    return fromUtf8(content);
  } catch (const Error& error) {
    failed("is not a document", file, error.what() + std::string(" Name another encoding with --encoding."));
  }
}

void writeDocument(const std::filesystem::path& file, std::u16string_view document) {
  const std::string content = CorvaneQueue::toUtf8(document);
  if (!std::filesystem::exists(file)) return writeFile(file, content);
  if (contentOf(file.string()) != content)
    failed("is not overwritten", file.string(), "it has another content. The document stays in the queue");
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
  failed("cannot be written", file.string(), error.message());
}

}  // namespace corvaneq
