#include "CreatableClasses.h"
#include "DbUtility.h"
#include "EmbeddedPlatform.h"

#include <CorvaneQueue/storeCheck.h>

namespace CorvaneQueue {

StoreReport checkStore(StoreCheck how) {
  openDoor();
  return embeddedPlatform().check(make<DbUtility>()->QueueStoreType(), how);
}

}  // namespace CorvaneQueue
