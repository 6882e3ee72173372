// Documents as files: read in some encoding, written as UTF-8.
#pragma once

#include <CorvaneQueue/String.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace corvaneq {

// The text of a file, or of standard input for "-". Throws an Error that names the file for one that
// cannot be read or is not text in the encoding.
CorvaneQueue::String readDocument(const std::string& file, const std::string& encoding);
// Writes a file as a whole, into a directory that is made if it is missing: nothing is left of one that
// failed, and one with another content that is there already stays. Throws an Error that names it.
void writeDocument(const std::filesystem::path& file, std::u16string_view document);

// Replaces the file as a whole.
void writeFile(const std::filesystem::path& file, const std::string& content);

}  // namespace corvaneq
