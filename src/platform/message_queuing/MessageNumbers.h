// The numbers of messages and positions, none of which is given twice.
#pragma once

#include "Database.h"

namespace CorvaneQueue::platform_layer {

// The last one given is in the page that all sessions share. The store counts numbers as given many at a
// time, so that most commits have nothing to write for it; those that are left when the last session ends are
// not used.
class MessageNumbers {
 public:
  explicit MessageNumbers(Database& database) noexcept : database_(database) {}
  void beginWrite() noexcept { counted_ = 0; }
  // Inside a write.
  std::int64_t take();
  // The write is stored.
  void stored() noexcept;

 private:
  Database& database_;
  std::int64_t counted_ = 0;  // up to which the write counts them as given, if it does
};

}  // namespace CorvaneQueue::platform_layer
