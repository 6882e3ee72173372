// Names of queues: path names and direct format names.
#pragma once

#include <CorvaneQueue/Error.h>

#include <string>
#include <string_view>

namespace CorvaneQueue::platform_layer {

enum class QueueKind { Public = 0, Private = 1 };

// A queue of this machine, or its journal.
struct QueueAddress {
  QueueKind kind = QueueKind::Public;
  std::u16string name;
  bool isJournal = false;
};

// HOST\NAME or HOST\PRIVATE$\NAME, where the host is ".", this computer's name or a loopback address.
// Throws MQ_ERROR_ILLEGAL_QUEUE_PATHNAME, or MQ_ERROR_REMOTE_MACHINE_NOT_AVAILABLE for any other host.
QueueAddress parsePathName(std::u16string_view pathName);
// DIRECT=OS: or DIRECT=TCP: and a path name, perhaps with ;JOURNAL behind it. Throws
// MQ_ERROR_ILLEGAL_FORMATNAME, or MQ_ERROR_REMOTE_MACHINE_NOT_AVAILABLE.
QueueAddress parseFormatName(std::u16string_view formatName);

// .\NAME or .\PRIVATE$\NAME.
std::u16string pathNameOf(const QueueAddress& address);
// As people are told of it: the path name, and whether the journal is meant.
std::u16string shownName(const QueueAddress& address);

// The source of the errors of the queue service.
inline constexpr std::u16string_view queuingSource = u"MSMQ";
[[noreturn]] void queuingFailed(std::int32_t number, std::u16string_view description);

}  // namespace CorvaneQueue::platform_layer
