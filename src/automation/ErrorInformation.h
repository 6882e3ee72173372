// The calling thread's error information, as texts.
#pragma once

#include <CorvaneQueue/String.h>

namespace CorvaneQueue {

struct ErrorTexts {
  String source;
  String description;
};
// Empty when there is none. There is none afterwards.
ErrorTexts takeErrorTexts();
// In place of what is there. Keeps nothing of the library alive. Throws std::bad_alloc.
void publishErrorTexts(ErrorTexts texts);

}  // namespace CorvaneQueue
