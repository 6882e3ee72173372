// Settings as TOML text: what it says, and changes that leave the rest of it as it is.
#pragma once

#include <CorvaneQueue/Variant.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace CorvaneQueue::platform_layer {

// The names of the tables from the outermost, then the key: {a, b, key} is `key` in `[a.b]`.
using TomlAddress = std::vector<std::u16string_view>;
// By folded address.
using TomlValues = std::unordered_map<std::u16string, Variant>;
// Names compare without regard to letter case.
std::u16string foldedKey(const TomlAddress& address);

// `file` is named in the errors. They are thrown for text that does not parse or nests tables more than 256
// deep, with its line.
TomlValues valuesIn(std::string_view content, const std::filesystem::path& file);
// The text with a value (a text, a whole number, a real or a boolean) set in place or added. Throws when it
// does not read back, because of the shape of the text.
std::string withValue(const std::string& content, const std::filesystem::path& file,
                      const TomlAddress& address, const Variant& value);
// The text without a value, and without its table when that is empty then.
std::string withoutValue(const std::string& content, const std::filesystem::path& file,
                         const TomlAddress& address);

}  // namespace CorvaneQueue::platform_layer
