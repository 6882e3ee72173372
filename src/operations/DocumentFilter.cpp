#include "DocumentFilter.h"

#include "Label.h"
#include "StoredText.h"
#include "UtcTime.h"

#include <CorvaneQueue/Error.h>

#include <algorithm>
#include <charconv>

namespace CorvaneQueue {

// ---- The words

namespace {
enum class Kind { Text, Body, Number, Time };
}  // namespace

struct DocumentFilter::FieldWord {
  std::u16string_view name;
  Field field;
  Kind kind;
};
const DocumentFilter::FieldWord DocumentFilter::fieldWords[] = {
    {u"MsgType", Field::MsgType, Kind::Text}, {u"MsgID", Field::MsgID, Kind::Text},
    {u"Object", Field::Object, Kind::Text},   {u"ObjectID", Field::ObjectID, Kind::Text},
    {u"Label", Field::Label, Kind::Text},     {u"Body", Field::Body, Kind::Body},
    {u"ID", Field::ID, Kind::Number},         {u"Sent", Field::Sent, Kind::Time},
    {u"Length", Field::Length, Kind::Number}, {u"Acknowledged", Field::Acknowledged, Kind::Time},
};
struct DocumentFilter::TestWord {
  std::u16string_view name;
  Test test;
  std::initializer_list<Kind> kinds;  // of fields that it is for
};
const DocumentFilter::TestWord DocumentFilter::testWords[] = {
    {u"equal", Test::Equal, {Kind::Text, Kind::Number}},
    {u"begins with", Test::BeginsWith, {Kind::Text}},
    {u"one of", Test::OneOf, {Kind::Text, Kind::Number}},
    {u"contains ignoring case", Test::ContainsAnyCase, {Kind::Text, Kind::Body}},
    {u"contains", Test::Contains, {Kind::Text, Kind::Body}},
    {u"from", Test::From, {Kind::Number, Kind::Time}},
    {u"to", Test::To, {Kind::Number, Kind::Time}},
};

namespace {

[[noreturn]] void refuse(const std::u16string& what) {
  throw Error(ErrorNumber::InvalidArgument, u"CorvaneQueue.Filter", what);
}
std::u16string inQuotes(std::u16string_view text) {
  std::u16string result = u"\"";
  for (const char16_t c : text) {
    result += c;
    if (c == u'"') result += c;
  }
  return result + u"\"";
}
std::u16string_view trimmed(std::u16string_view text) {
  while (!text.empty() && text.front() == u' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == u' ') text.remove_suffix(1);
  return text;
}
std::int64_t numberIn(std::u16string_view text, Kind kind) {
  if (kind == Kind::Time) return utcTime(text);
  const std::string digits = toUtf8(text);
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size() || number < 0)
    refuse(inQuotes(text) + u" is no whole number.");
  return number;
}

}  // namespace

const DocumentFilter::FieldWord& DocumentFilter::fieldNamed(std::u16string_view name) {
  std::u16string known;
  for (const FieldWord& word : fieldWords) {
    if (foldCase(word.name) == foldCase(name)) return word;
    known += (known.empty() ? u"" : u", ") + std::u16string(word.name);
  }
  refuse(u"There is no field " + inQuotes(name) + u"; there are " + known + u".");
}

// ---- Conditions

void DocumentFilter::add(std::u16string_view field, std::u16string_view test, std::u16string_view value) {
  const FieldWord& word = fieldNamed(field);
  std::u16string known;
  for (const TestWord& candidate : testWords) {
    if (std::ranges::find(candidate.kinds, word.kind) == candidate.kinds.end()) continue;
    known += (known.empty() ? u"" : u", ") + inQuotes(candidate.name);
    if (foldCase(candidate.name) != foldCase(test)) continue;
    Condition condition{word.field, candidate.test, std::u16string(value), {}, {}};
    const bool isText = word.kind == Kind::Text || word.kind == Kind::Body;
    constexpr std::int64_t secondsOfDay = 86400;
    const bool isDay = word.kind == Kind::Time && value.find(u'T') == std::u16string_view::npos;
    for (std::u16string_view rest = value; true;) {
      const std::size_t comma = candidate.test == Test::OneOf ? rest.find(u',') : std::u16string_view::npos;
      const std::u16string_view part =
          candidate.test == Test::OneOf || !isText ? trimmed(rest.substr(0, comma)) : rest;
      if (part.empty() && candidate.test == Test::OneOf)
        refuse(u"A part of the list " + inQuotes(value) + u" is empty.");
      if (isText)
        condition.texts.insert(candidate.test == Test::ContainsAnyCase ? foldCase(part)
                                                                       : std::u16string(part));
      else
        condition.numbers.insert(numberIn(part, word.kind) +
                                 (isDay && candidate.test == Test::To ? secondsOfDay - 1 : 0));
      if (comma == std::u16string_view::npos) break;
      rest.remove_prefix(comma + 1);
    }
    conditions_.push_back(std::move(condition));
    return;
  }
  refuse(std::u16string(word.name) + u" has no test " + inQuotes(test) + u"; it has " + known + u".");
}

std::u16string DocumentFilter::text() const {
  std::u16string text;
  for (const Condition& condition : conditions_) {
    if (!text.empty()) text += u" and ";
    text += std::ranges::find(fieldWords, condition.field, &FieldWord::field)->name;
    text += u" ";
    text += std::ranges::find(testWords, condition.test, &TestWord::test)->name;
    text += u" " + inQuotes(condition.value);
  }
  return text;
}

DocumentFilter DocumentFilter::parse(std::u16string_view text) {
  DocumentFilter filter;
  for (std::u16string_view rest = trimmed(text); !rest.empty();) {
    const std::size_t space = rest.find(u' ');
    const std::size_t quote = rest.find(u'"');
    if (quote == std::u16string_view::npos || space > quote)
      refuse(u"The condition " + std::u16string(rest) + u" is not of the form FIELD TEST \"VALUE\".");
    std::u16string value;
    std::size_t end = quote + 1;
    for (; end < rest.size(); ++end) {
      if (rest[end] == u'"' && rest.substr(end + 1, 1) != u"\"") break;
      if (rest[end] == u'"') ++end;
      value += rest[end];
    }
    if (end == rest.size())
      refuse(u"The value " + std::u16string(rest.substr(quote)) + u" is not closed by \".");
    filter.add(rest.substr(0, space), trimmed(rest.substr(space, quote - space)), value);
    rest = trimmed(rest.substr(end + 1));
    if (rest.empty()) break;
    if (rest.substr(0, 4) != u"and ")
      refuse(u"Conditions are joined by \"and\"; there is " + inQuotes(rest) + u".");
    rest = trimmed(rest.substr(4));
  }
  return filter;
}

// ---- Documents

bool DocumentFilter::Condition::holds(std::u16string_view text) const {
  const std::u16string& first = *texts.begin();
  switch (test) {
    case Test::BeginsWith: return text.substr(0, first.size()) == first;
    case Test::Contains: return text.find(first) != std::u16string_view::npos;
    case Test::ContainsAnyCase: return foldCase(text).find(first) != std::u16string::npos;
    default: return texts.contains(text);
  }
}

bool DocumentFilter::Condition::holds(std::int64_t number) const {
  switch (test) {
    case Test::From: return number >= *numbers.begin();
    case Test::To: return number <= *numbers.begin();
    default: return numbers.contains(number);
  }
}

bool DocumentFilter::matchesHeader(const StoredDocument& document, std::int64_t shown) const {
  std::optional<RoutingFields> fields;
  const auto field = [&](String RoutingFields::*which) -> std::u16string_view {
    if (!fields) try {
        ParseLabel(document.label, fields.emplace());
      } catch (const Error&) {  // a label of somebody else's making: the fields that were read
      }
    return (*fields).*which;
  };
  return std::ranges::all_of(conditions_, [&](const Condition& condition) {
    switch (condition.field) {
      case Field::MsgType: return condition.holds(field(&RoutingFields::MsgType));
      case Field::MsgID: return condition.holds(field(&RoutingFields::MsgID));
      case Field::Object: return condition.holds(field(&RoutingFields::Object));
      case Field::ObjectID: return condition.holds(field(&RoutingFields::ObjectID));
      case Field::Label: return condition.holds(document.label.view());
      case Field::ID: return condition.holds(shown);
      case Field::Sent: return condition.holds(document.sent);
      case Field::Acknowledged: return document.acknowledged && condition.holds(*document.acknowledged);
      case Field::Length: return condition.holds(document.length);
      case Field::Body: break;
    }
    return true;
  });
}

bool DocumentFilter::asksForBody() const noexcept {
  return std::ranges::find(conditions_, Field::Body, &Condition::field) != conditions_.end();
}

bool DocumentFilter::matchesBody(std::u16string_view text) const {
  return std::ranges::all_of(conditions_, [&](const Condition& condition) {
    return condition.field != Field::Body || condition.holds(text);
  });
}

Sieve DocumentFilter::sieve() const {
  Sieve sieve;
  for (const Condition& condition : conditions_) {
    if (condition.field == Field::Sent && condition.test == Test::From)
      sieve.sentFrom = std::max(sieve.sentFrom, *condition.numbers.begin());
    else if (condition.field == Field::Sent)
      sieve.sentTo = std::min(sieve.sentTo, *condition.numbers.begin());
    const bool isWhole = condition.test == Test::Equal || condition.test == Test::OneOf;
    if (const auto field = static_cast<std::size_t>(condition.field); isWhole && field < sieve.signs.size()) {
      sieve.signs[field].clear();
      for (const std::u16string& text : condition.texts) sieve.signs[field].push_back(signOf(text));
    }
    if (condition.texts.size() != 1 || condition.test == Test::ContainsAnyCase) continue;
    const std::u16string& text = *condition.texts.begin();
    std::u16string part;
    switch (condition.field) {
      case Field::MsgType: part = labelPart(&RoutingFields::MsgType, text, isWhole); break;
      case Field::MsgID: part = labelPart(&RoutingFields::MsgID, text, isWhole); break;
      case Field::Object: part = labelPart(&RoutingFields::Object, text, isWhole); break;
      case Field::ObjectID: part = labelPart(&RoutingFields::ObjectID, text, isWhole); break;
      case Field::Label: part = text; break;
      default: continue;
    }
    if (condition.test == Test::Contains) part = text;
    // The halves of a pair of surrogates, apart, are stored in another form than together.
    if (std::ranges::any_of(part, [](char16_t c) { return c >= 0xD800 && c <= 0xDFFF; })) continue;
    if (part.size() > sieve.labelPart.size()) sieve.labelPart = toStored(part);
  }
  return sieve;
}

const std::set<std::int64_t>* DocumentFilter::named() const noexcept {
  for (const Condition& condition : conditions_)
    if (condition.field == Field::ID && (condition.test == Test::OneOf || condition.test == Test::Equal))
      return &condition.numbers;
  return nullptr;
}

}  // namespace CorvaneQueue
