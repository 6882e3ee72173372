// One message of a queue, found by its identifier.
#pragma once

#include <CorvaneQueue/client.h>

namespace CorvaneQueue {

// The messages of a queue: those that wait, or those in its journal.
enum class Among { Waiting, Acknowledged };

// The message as a list of the queue would hold it, read without reading that list; an empty handle when
// there is none. `ID` may have leading zeros or not. The queue must be there. Throws an Error when the store
// cannot be read. For the thread that calls it.
CORVANE_API Message findMessage(const Text& queue, Among among, const Text& ID);

}  // namespace CorvaneQueue
