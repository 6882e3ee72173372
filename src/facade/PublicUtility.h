// The public utility: queue settings, queue names and queue creation.
#pragma once

#include "Object.h"
#include "UtilityForm.h"
#include "UtilityRules.h"

namespace CorvaneQueue {

class PublicUtility final : public Object<PublicUtility, UtilityForm<PublicUtility>>, public UtilityRules {
 public:
  PublicUtility() : UtilityRules(u"Utility") {}
  ~PublicUtility() = default;

 private:
  // In the configured store; does nothing when that is neither "db" nor "msmq".
  void create(StringRef QueueName) override;
};

}  // namespace CorvaneQueue
