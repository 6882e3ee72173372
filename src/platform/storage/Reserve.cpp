#include "Reserve.h"

#include "File.h"

namespace CorvaneQueue::platform_layer {

namespace {
constexpr std::int64_t reserveSize = 16 << 20;
}  // namespace

bool Reserve::make() const noexcept {
  if (FileState::ifThere(file_).size >= reserveSize) return true;
  try {
    if (File(file_, File::Use::Create).reserve(reserveSize)) return true;
  } catch (const Error&) {  // no room even for its name
  }
  giveUp();
  return false;
}

void Reserve::giveUp() const noexcept { removeFile(file_); }

bool Reserve::isNeeded() noexcept {
  if (!looks_.isDue()) return false;
  const auto room = roomBeside(file_);
  return room && *room < reserveSize;
}

}  // namespace CorvaneQueue::platform_layer
