#include "DbUtility.h"

#include "DbQueues.h"
#include "LateBound.h"
#include "MSMQQueues.h"
#include "Platform.h"
#include "StoreCalls.h"

namespace CorvaneQueue {

DbUtility::DbUtility() : UtilityRules(u"DbUtility") {}

void DbUtility::create(StringRef QueueName) {
  const auto database = platform().host->createDatabaseConnection();
  store::createMessageType(*database, QueueName);
}

Variant DbUtility::GetBody(const Ref<IDispatch>& objMessage) {
  const std::int32_t appSpecific = toInt32(lateBoundGet(objMessage.get(), u"AppSpecific").get());
  return bodyOf(appSpecific, lateBoundGet(objMessage.get(), u"Body"));
}

Ref<IQueues> DbUtility::GetQueues() {
  Ref<IQueues> queues;
  if (QueueStoreType() == u"db")
    queues = make<DbQueues>();
  else if (QueueStoreType() == u"msmq")
    queues = make<MSMQQueues>();
  else
    throw Error(100, u"CorvaneQueue.DbUtility", u"Unsupported queue storage type");
  call<&IQueues::raw_Refresh>(queues);
  return queues;
}

}  // namespace CorvaneQueue
