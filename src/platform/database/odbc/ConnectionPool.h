// Connections of this thread that nobody uses at the moment.
#pragma once

#include "OdbcConnection.h"

namespace CorvaneQueue::platform_layer {

// One to that place, a new one if need be. Throws OdbcFailure.
std::unique_ptr<OdbcConnection> takeConnection(const ServerPlace& place);
// Kept when it is clean, else closed.
void giveBack(std::unique_ptr<OdbcConnection> connection) noexcept;
// Closes those to that place: one of them was lost.
void closeIdle(const ServerPlace& place) noexcept;

}  // namespace CorvaneQueue::platform_layer
