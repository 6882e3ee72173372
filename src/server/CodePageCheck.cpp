#include "CreatableClasses.h"
#include "Platform.h"

#include <CorvaneQueue/codePage.h>

namespace CorvaneQueue {

std::optional<std::size_t> firstOutsideCodePage(std::u16string_view text) {
  openDoor();
  return platform().system->toAnsi(text).firstLost;
}

}  // namespace CorvaneQueue
