// The utility of the database store; it also answers for the configured store type.
#pragma once

#include "IUtility.h"
#include "Object.h"
#include "UtilityRules.h"

namespace CorvaneQueue {

class DbUtility final : public Object<DbUtility, IUtilityForm<DbUtility>>, public UtilityRules {
 public:
  DbUtility();
  ~DbUtility() = default;

  // Any object with AppSpecific and Body, reached by name.
  Variant GetBody(const Ref<IDispatch>& objMessage);
  // The refreshed list of the configured store. Throws 100 for an unknown store type.
  Ref<IQueues> GetQueues();

 private:
  // Registers the queue in the database store.
  void create(StringRef QueueName) override;
};

}  // namespace CorvaneQueue
