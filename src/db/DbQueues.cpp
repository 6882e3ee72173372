#include "DbQueues.h"

#include "Platform.h"
#include "StoreCalls.h"

namespace CorvaneQueue {

DbQueues::DbQueues() : errors_(u"DbQueues", ErrorReports::Naming::OneByOne), utility_(make<DbUtility>()) {}

void DbQueues::Refresh() {
  errors_.reported(u"Refresh", [&] {
    queues_ = {};
    const auto database = platform().host->createDatabaseConnection();
    const auto records = store::queueList(*database);
    if (!store::hasRows(records)) return;
    for (; !records->EndOfFile(); records->MoveNext()) append(toString(records->Field(store::columnQueue)));
  });
}

bool DbQueues::Exists(StringRef Name) {
  return errors_.reported(u"Exists", [&] {
    const auto database = platform().host->createDatabaseConnection();
    return store::queueExists(*database, Name);
  });
}

Ref<DbQueue> DbQueues::Add(StringRef Name) {
  return errors_.reported(u"Add", [&] {
    if (!Exists(Name)) utility_->CreateQueue(Name);
    return append(Name);
  });
}

Ref<DbQueue> DbQueues::append(StringRef name) {
  const auto queue = make<DbQueue>();
  queue->Initialize(name, false);
  queues_.add(queue, name);
  return queue;
}

}  // namespace CorvaneQueue
