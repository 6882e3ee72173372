#include "RoutedQueue.h"

#include "Platform.h"

namespace CorvaneQueue {

bool RoutedQueue::readsCompressMessages(std::u16string_view component) {
  const auto settings = platform().host->createComponentSettings();
  settings->FirstLevel(component);
  settings->SecondLevel(component);
  const Variant value = settings->Read(u"CompressMessages", std::int32_t{0});
  // The number 1 only: a text "1" is not that number.
  return value.type() != VT_BSTR && value.as(VT_R8).get().dblVal == 1;
}

}  // namespace CorvaneQueue
