#include "RowsInMemory.h"

#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

void RowsInMemory::MoveNext() {
  if (EndOfFile()) throw Error(static_cast<std::int32_t>(0x800A0BCDu), {}, u"The record set is at its end.");
  ++current_;
}

Variant RowsInMemory::valueOf(Variant value) {
  if (value.type() != (VT_ARRAY | VT_UI1)) return value;
  return textOf(value);
}

Variant& RowsInMemory::cell(std::int32_t position) {
  if (EndOfFile())
    throw Error(static_cast<std::int32_t>(0x800A0BCDu), {}, u"The record set has no current record.");
  if (position < 0 || static_cast<std::size_t>(position) >= columnCount_)
    throw Error(static_cast<std::int32_t>(0x800A0CC1u), {},
                u"The record has no field " + decimal(position) + u".");
  Variant& found = cells_[current_ * columnCount_ + static_cast<std::size_t>(position)];
  if (found.type() == VT_EMPTY)
    throw Error(94, {},
                u"Invalid use of Null: field " + decimal(position) + u" of the record holds no value.");
  if (found.isOmitted())
    throw Error(
        E_FAIL, storeSource,
        u"The stored document " + decimal(toInt64(cells_[current_ * columnCount_].get())) +
            u" is damaged: it is not what was sent, and is not handed out. Restore the store from a copy, "
            u"or delete the document.");
  return found;
}

}  // namespace CorvaneQueue::platform_layer
