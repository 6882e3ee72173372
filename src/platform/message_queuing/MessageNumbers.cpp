#include "MessageNumbers.h"

#include "StoreState.h"

#include <algorithm>

namespace CorvaneQueue::platform_layer {

std::int64_t MessageNumbers::take() {
  constexpr std::int64_t atATime = 64;
  StoreState& state = *database_.file().state;
  if (state.lastNumber == 0) {
    Statement row = database_.prepare("SELECT value FROM dbo.mqCounter");
    row.step();
    state.lastNumber = state.numbersTo = row.integer(0);
  }
  const std::int64_t number = ++state.lastNumber;
  if (number > std::max<std::int64_t>(state.numbersTo, counted_)) {
    counted_ = number + atATime - 1;
    database_.execute("UPDATE dbo.mqCounter SET value = max(value, ?1)", counted_);
  }
  return number;
}

void MessageNumbers::stored() noexcept {
  if (counted_ != 0) database_.file().state->numbersTo = counted_;
}

}  // namespace CorvaneQueue::platform_layer
