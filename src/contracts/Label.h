// The label of a document: its four routing fields as one text.
#pragma once

#include <CorvaneQueue/String.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace CorvaneQueue {

struct RoutingFields {
  String MsgType;
  String MsgID;
  String Object;
  String ObjectID;
};

// One element a non-empty field, in the order above: tag, value, closing text. Nothing is escaped.
String CreateLabel(const RoutingFields& fields);

// What the label of a document with that value of a field has in it, or with a value that begins so. Nothing
// for an empty value, which has no element.
std::u16string labelPart(String RoutingFields::*field, std::u16string_view value, bool isWhole);

// Reads the elements of a label into the fields; a field without an element keeps its value. An
// element that stands before one of an earlier field is not seen. Throws 5 for an element without a
// closing text; the fields before it have their new values then.
void ParseLabel(std::u16string_view label, RoutingFields& fields);

// Tells most values of a field apart, and is the same for equal ones. Stores keep it: it never changes.
std::uint16_t signOf(std::u16string_view value) noexcept;
// Of the four fields of a label, in the order above.
using LabelSigns = std::array<std::uint16_t, 4>;
LabelSigns signsOf(std::u16string_view label);

}  // namespace CorvaneQueue
