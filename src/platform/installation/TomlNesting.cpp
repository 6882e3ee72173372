#include "TomlNesting.h"

#include <algorithm>
#include <string>

namespace CorvaneQueue::platform_layer {

namespace {

// Behind the text in quotation marks that begins at `at`.
std::size_t endOfText(std::string_view content, std::size_t at) {
  const char quote = content[at];
  const bool isLong = content.substr(at, 3) == std::string(3, quote);
  const std::string end(isLong ? 3 : 1, quote);
  for (at += end.size(); at < content.size(); ++at) {
    if (content[at] == '\\' && quote == '"') {
      ++at;
    } else if (content[at] == '\n' && !isLong) {
      return at;
    } else if (content.substr(at, end.size()) == end) {
      at += end.size();
      while (isLong && at < content.size() && content[at] == quote) ++at;  // the text ends with them
      return at;
    }
  }
  return content.size();
}

// Where a statement has more than `depth` separators, or npos.
std::size_t placeNestedDeeper(std::string_view content, std::size_t depth) {
  std::size_t separators = 0;
  std::size_t open = 0;
  bool isHeader = false;
  bool isBegun = false;
  for (std::size_t at = 0; at < content.size();) {
    const char c = content[at];
    if (c == '"' || c == '\'') {
      at = endOfText(content, at);
      isBegun = true;
      continue;
    }
    if (c == '#') {
      at = std::min(content.find('\n', at), content.size());
      continue;
    }
    ++at;
    if (c == '\n') {
      if (open > 0 && !isHeader) continue;  // a list goes on over lines
      separators = open = 0;
      isBegun = isHeader = false;
    } else if (c != ' ' && c != '\t' && c != '\r') {
      isHeader = isHeader || (!isBegun && c == '[');
      isBegun = true;
      if (c == '[' || c == '{') ++open;
      if ((c == ']' || c == '}') && open > 0) --open;
      if ((c == '.' || c == '[' || c == '{') && ++separators > depth) return at - 1;
    }
  }
  return std::string_view::npos;
}

}  // namespace

std::optional<std::size_t> lineNestedDeeper(std::string_view content, std::size_t depth) {
  const std::size_t at = placeNestedDeeper(content, depth);
  if (at == std::string_view::npos) return std::nullopt;
  return 1 + static_cast<std::size_t>(std::ranges::count(content.substr(0, at), '\n'));
}

}  // namespace CorvaneQueue::platform_layer
