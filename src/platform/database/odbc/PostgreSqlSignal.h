// Tells of new documents on a PostgreSQL server: its notifications, which do not come through ODBC.
#pragma once

#include "ServerDriver.h"

namespace CorvaneQueue::platform_layer {

// Uses a connection of its own, which it opens with the first wait. Nothing when this was built without the
// server's client library.
std::unique_ptr<QueueSignal> postgreSqlSignal(const ServerPlace& place);

}  // namespace CorvaneQueue::platform_layer
