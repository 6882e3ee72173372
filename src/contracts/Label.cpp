#include "Label.h"

#include <CorvaneQueue/Error.h>

#include <algorithm>
#include <string>

namespace CorvaneQueue {

namespace {

struct Element {
  std::u16string_view tag;
  String RoutingFields::*field;
};
constexpr Element elements[] = {
    {u"Msg Type: <", &RoutingFields::MsgType},
    {u"MsgID: <", &RoutingFields::MsgID},
    {u"Object: <", &RoutingFields::Object},
    {u"ObjectID: <", &RoutingFields::ObjectID},
};
constexpr std::u16string_view closing = u"> ";

}  // namespace

String CreateLabel(const RoutingFields& fields) {
  std::u16string label;
  for (const Element& element : elements) {
    const String& value = fields.*element.field;
    if (value.empty()) continue;
    label += element.tag;
    label += value.view();
    label += closing;
  }
  return String(label);
}

std::u16string labelPart(String RoutingFields::*field, std::u16string_view value, bool isWhole) {
  std::u16string part;
  if (value.empty()) return part;
  part += std::ranges::find(elements, field, &Element::field)->tag;
  part += value;
  if (isWhole) part += closing;
  return part;
}

void ParseLabel(std::u16string_view label, RoutingFields& fields) {
  std::size_t position = 0;
  for (const Element& element : elements) {
    const std::size_t at = label.find(element.tag, position);
    if (at == std::u16string_view::npos) continue;
    const std::size_t start = at + element.tag.size();
    const std::size_t end = label.find(closing, at);
    // A value cannot end before it starts: every tag ends in "<" and holds no "> ".
    if (end == std::u16string_view::npos)
      throw Error(ErrorNumber::InvalidArgument, {},
                  u"Invalid label: \"" + std::u16string(element.tag) + u"\" is not closed by \"> \".");
    fields.*element.field = String(label.substr(start, end - start));
    position = end + closing.size();
  }
}

// FNV-1a over the 16-bit units, folded.
std::uint16_t signOf(std::u16string_view value) noexcept {
  std::uint64_t hash = 0xcbf29ce484222325u;
  for (const char16_t unit : value) hash = (hash ^ unit) * 0x100000001b3u;
  return static_cast<std::uint16_t>(hash ^ hash >> 16 ^ hash >> 32 ^ hash >> 48);
}

LabelSigns signsOf(std::u16string_view label) {
  RoutingFields fields;
  try {
    ParseLabel(label, fields);
  } catch (const Error&) {  // a label of somebody else's making: the fields that were read
  }
  LabelSigns signs{};
  for (std::size_t i = 0; i < signs.size(); ++i) signs[i] = signOf((fields.*elements[i].field).view());
  return signs;
}

}  // namespace CorvaneQueue
