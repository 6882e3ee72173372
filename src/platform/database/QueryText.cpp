#include "QueryText.h"

#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

LiftedQuery liftLiterals(std::u16string_view text) {
  LiftedQuery lifted;
  std::u16string sql;
  // Copies a quoted piece as it is: up to the closing mark, a doubled one not counted.
  const auto endOfQuoted = [&](std::size_t at, char16_t closing) {
    for (++at; at < text.size(); ++at) {
      if (text[at] != closing) continue;
      if (at + 1 < text.size() && text[at + 1] == closing && closing != u']')
        ++at;
      else
        return at + 1;
    }
    return text.size();
  };
  for (std::size_t i = 0; i < text.size();) {
    const char16_t c = text[i];
    if (c == u'\'') {
      const std::size_t end = endOfQuoted(i, c);
      std::u16string literal;
      for (std::size_t k = i + 1; k + 1 < end; ++k) {
        literal += text[k];
        if (text[k] == u'\'') ++k;
      }
      lifted.literals.push_back(toStored(literal));
      sql += u'?';
      sql += decimal(lifted.literals.size());
      i = end;
    } else if (c == u'[' || c == u'"') {
      const std::size_t end = endOfQuoted(i, c == u'[' ? u']' : c);
      sql += text.substr(i, end - i);
      i = end;
    } else {
      sql += c;
      ++i;
    }
  }
  lifted.sql = toStored(sql);
  return lifted;
}

}  // namespace CorvaneQueue::platform_layer
