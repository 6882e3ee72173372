// What the queues of all stores keep for their clients.
#pragma once

#include "Label.h"

namespace CorvaneQueue {

// The routing fields as properties. A class that is an Object too must say whose `Object` it means.
class RoutedQueue {
 public:
  const String& MsgType() const noexcept { return fields_.MsgType; }
  void MsgType_Let(StringRef value) { fields_.MsgType = String(value); }
  const String& MsgID() const noexcept { return fields_.MsgID; }
  void MsgID_Let(StringRef value) { fields_.MsgID = String(value); }
  const String& Object() const noexcept { return fields_.Object; }
  void Object_Let(StringRef value) { fields_.Object = String(value); }
  const String& ObjectID() const noexcept { return fields_.ObjectID; }
  void ObjectID_Let(StringRef value) { fields_.ObjectID = String(value); }

 protected:
  RoutedQueue() = default;
  ~RoutedQueue() = default;
  // Whether the settings of the component, which has the name on both levels, turn CompressMessages on.
  static bool readsCompressMessages(std::u16string_view component);

  RoutingFields fields_;
};

}  // namespace CorvaneQueue
