#include "TomlText.h"

#include "File.h"
#include "StoredText.h"
#include "TomlNesting.h"

#include <algorithm>
#include <optional>
#include <sstream>

#define TOML_EXCEPTIONS 1
#include <toml++/toml.h>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::size_t deepestNesting = 256;

toml::table parsed(std::string_view content, const std::filesystem::path& file) {
  if (const auto line = lineNestedDeeper(content, deepestNesting))
    throw Error(E_FAIL, {},
                u"The settings file \"" + shownPath(file) + u"\" does not parse: line " + decimal(*line) +
                    u": tables and lists are nested more than " + decimal(deepestNesting) +
                    u" deep. Correct it; nothing was changed.");
  try {
    return toml::parse(content, nameBytes(file));
  } catch (const toml::parse_error& error) {
    throw Error(E_FAIL, {},
                u"The settings file \"" + shownPath(file) + u"\" does not parse: line " +
                    decimal(static_cast<std::int64_t>(error.source().begin.line)) + u", column " +
                    decimal(static_cast<std::int64_t>(error.source().begin.column)) + u": " +
                    std::u16string(fromUtf8(error.description()).view()) +
                    u". Correct it; nothing was changed.");
  }
}

// The value of a node, or nothing for a kind that is no setting (an array, a date).
std::optional<Variant> valueOf(const toml::node& node) {
  if (const auto* text = node.as_string()) return Variant(fromUtf8(text->get()));
  if (const auto* number = node.as_integer()) {
    const std::int64_t value = number->get();
    if (value >= INT32_MIN && value <= INT32_MAX) return Variant(static_cast<std::int32_t>(value));
    return Variant(value);
  }
  if (const auto* real = node.as_floating_point()) return Variant(real->get());
  if (const auto* truth = node.as_boolean()) return Variant(truth->get());
  return std::nullopt;
}

std::string quoted(std::u16string_view text) {
  std::string result = "\"";
  for (const char c : toUtf8(text)) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (byte < 0x20 || byte == 0x7F) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04X", byte);
      result += escape;
    } else {
      result += c;
    }
  }
  return result + '"';
}

std::string keyText(std::u16string_view key) {
  for (const char16_t c : key) {
    const bool bare = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
                      c == u'_' || c == u'-';
    if (!bare) return quoted(key);
  }
  return key.empty() ? "\"\"" : toUtf8(key);
}

std::string headerText(const TomlAddress& address) {
  std::string text;
  for (std::size_t i = 0; i + 1 < address.size(); ++i) text += (i == 0 ? "" : ".") + keyText(address[i]);
  return text;
}

std::string valueText(const Variant& value) {
  switch (value.type()) {
    case VT_BSTR: {
      const StringRef text(value.get().bstrVal);
      if (fromUtf8(toUtf8(text)).view() != text.view())
        throw Error(ErrorNumber::InvalidArgument, {},
                    u"A setting cannot hold a lone surrogate; the text is not valid Unicode.");
      return quoted(text);
    }
    case VT_BOOL: return toBoolean(value.get()) ? "true" : "false";
    case VT_R4:
    case VT_R8: {
      std::ostringstream text;
      text << toml::value<double>(value.as(VT_R8).get().dblVal);
      return text.str();
    }
    default: return toUtf8(decimal(toInt64(value.get())));
  }
}

// A node by name, letter case ignored.
toml::node* find(toml::table* table, std::u16string_view name) {
  if (table == nullptr) return nullptr;
  if (toml::node* exact = table->get(toUtf8(name))) return exact;
  const std::u16string folded = foldCase(name);
  for (auto&& [key, node] : *table)
    if (foldCase(fromUtf8(key.str())) == folded) return &node;
  return nullptr;
}

// The byte offset of a position that the parser gives in lines and characters from 1.
std::size_t offsetOf(std::string_view content, toml::source_position position) {
  std::size_t at = 0;
  for (toml::source_index line = 1; line < position.line; ++line) {
    const std::size_t end = content.find('\n', at);
    if (end == std::string_view::npos) return content.size();
    at = end + 1;
  }
  for (toml::source_index column = 1; column < position.column && at < content.size(); ++column) do
      ++at;
    while (at < content.size() && (static_cast<unsigned char>(content[at]) & 0xC0) == 0x80);
  return at;
}

// The table that holds the key of the address, or nothing.
toml::table* tableOf(toml::table& root, const TomlAddress& address) {
  toml::table* table = &root;
  for (std::size_t i = 0; table != nullptr && i + 1 < address.size(); ++i) {
    toml::node* node = find(table, address[i]);
    table = node == nullptr ? nullptr : node->as_table();
  }
  return table;
}

bool holds(toml::table root, const TomlAddress& address, const Variant& value) {
  const toml::node* node = find(tableOf(root, address), address.back());
  const auto found = node == nullptr ? std::nullopt : valueOf(*node);
  return found && toString(found->get()) == toString(value.get());
}

// The content with the value replaced, or added to its table or in a table of its own at the end, so that
// everything else stays as written.
enum class New { InItsTable, AtTheEnd };
std::string edited(const std::string& content, toml::table& root, const TomlAddress& address,
                   const Variant& value, New place) {
  toml::table* table = tableOf(root, address);
  const toml::node* node = find(table, address.back());
  if (node != nullptr) {
    const std::size_t begin = offsetOf(content, node->source().begin);
    const std::size_t end = offsetOf(content, node->source().end);
    return content.substr(0, begin) + valueText(value) + content.substr(end);
  }
  const std::string line = keyText(address.back()) + " = " + valueText(value) + "\n";
  if (place == New::InItsTable && table != nullptr && table->source().begin.line > 0) {
    const std::size_t header = offsetOf(content, {table->source().begin.line, 1});
    const std::size_t first = content.find_first_not_of(" \t", header);
    if (first != std::string::npos && content[first] == '[') {
      const std::size_t end = content.find('\n', header);
      if (end == std::string::npos) return content + "\n" + line;
      return content.substr(0, end + 1) + line + content.substr(end + 1);
    }
  }
  std::string grown = content;
  if (!grown.empty() && grown.back() != '\n') grown += '\n';
  if (!grown.empty()) grown += '\n';
  return grown + "[" + headerText(address) + "]\n" + line;
}

std::string_view lineOf(std::string_view content, toml::source_index line) {
  const std::size_t begin = offsetOf(content, {line, 1});
  return content.substr(begin, content.find('\n', begin) - begin);
}
// Lines from..to, both included.
std::string withoutLines(const std::string& content, toml::source_index from, toml::source_index to) {
  return content.substr(0, offsetOf(content, {from, 1})) + content.substr(offsetOf(content, {to + 1, 1}));
}

// Every setting of a table and the tables in it, under its folded address.
void collect(const toml::table& table, const TomlAddress& outer, TomlValues& values) {
  for (auto&& [key, node] : table) {
    const String name = fromUtf8(key.str());
    TomlAddress address = outer;
    address.push_back(name);
    if (const auto* inner = node.as_table())
      collect(*inner, address, values);
    else if (auto value = valueOf(node))
      values.emplace(foldedKey(address), std::move(*value));
  }
}

}  // namespace

std::u16string foldedKey(const TomlAddress& address) {
  constexpr char16_t between = u'\x1F';
  std::u16string key;
  for (const std::u16string_view name : address) {
    key += name;
    key += between;
  }
  return foldCase(key);
}

TomlValues valuesIn(std::string_view content, const std::filesystem::path& file) {
  TomlValues values;
  collect(parsed(content, file), {}, values);
  return values;
}

std::string withValue(const std::string& content, const std::filesystem::path& file,
                      const TomlAddress& address, const Variant& value) {
  toml::table root = parsed(content, file);
  for (const New place :
       {New::InItsTable, New::AtTheEnd}) {  // it has no header when a table in it is there alone
    std::string changed = edited(content, root, address, value, place);
    try {  // what was written must read back, whatever shape the file had
      if (holds(parsed(changed, file), address, value)) return changed;
    } catch (const Error&) {
    }
  }
  throw Error(E_FAIL, {},
              u"The setting could not be written into \"" + shownPath(file) + u"\": write the table as \"[" +
                  std::u16string(fromUtf8(headerText(address)).view()) + u"]\".");
}

std::string withoutValue(const std::string& content, const std::filesystem::path& file,
                         const TomlAddress& address) {
  toml::table root = parsed(content, file);
  toml::table* const table = tableOf(root, address);
  const toml::node* const node = find(table, address.back());
  if (node == nullptr) return content;
  std::string shortened = withoutLines(content, node->source().begin.line, node->source().end.line);
  const toml::source_index header = table->source().begin.line;
  if (table->size() == 1 && header > 0 && header < node->source().begin.line) {
    shortened = withoutLines(shortened, header, header);
    if (header > 1 && lineOf(shortened, header - 1).empty())  // what set the table apart
      shortened = withoutLines(shortened, header - 1, header - 1);
  }
  // Everything else must be there as before, whatever shape the file had.
  TomlValues before;
  TomlValues after;
  collect(root, {}, before);
  before.erase(foldedKey(address));
  const auto isAsWanted = [&] {
    try {
      collect(parsed(shortened, file), {}, after);
    } catch (const Error&) {
      return false;
    }
    return before.size() == after.size() && std::ranges::all_of(before, [&](const auto& entry) {
             const auto same = after.find(entry.first);
             return same != after.end() && toString(same->second.get()) == toString(entry.second.get());
           });
  };
  if (!isAsWanted())
    throw Error(E_FAIL, {},
                u"The value \"" + std::u16string(address.back()) + u"\" of [" +
                    std::u16string(fromUtf8(headerText(address)).view()) + u"] could not be removed from \"" +
                    shownPath(file) + u"\": write it on a line of its own. Nothing was changed.");
  return shortened;
}

}  // namespace CorvaneQueue::platform_layer
