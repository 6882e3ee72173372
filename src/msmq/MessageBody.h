// The bodies of Message Queuing messages: compressed text, or text in the code page of the installation.
#pragma once

#include "ErrorReports.h"

#include <CorvaneQueue/MessageQueuing.h>

namespace CorvaneQueue {

// How a queue keeps the bodies that are sent to it.
struct BodyForm {
  bool isCompressed;
  const String& queue;    // for warnings
  ErrorReports& reports;  // of characters that the code page lacks, once a process and queue
};
// `text` is a string or a reference to one.
void setBody(const Ref<IMSMQMessage>& message, const Variant& text, const BodyForm& form);
// Bytes that have the right form already are copied as they are.
void copyBody(const Ref<IMSMQMessage>& from, const Ref<IMSMQMessage>& to, const BodyForm& form);

}  // namespace CorvaneQueue
