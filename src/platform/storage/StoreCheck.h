// Whether an embedded store is sound.
#pragma once

#include "Database.h"

#include <CorvaneQueue/storeCheck.h>

namespace CorvaneQueue::platform_layer {

// What the session knows of the file, and of the log; a thorough check reads every page.
StoreReport reportOf(Database& database, StoreCheck how);

}  // namespace CorvaneQueue::platform_layer
