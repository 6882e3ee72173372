// The public utility: queue settings, queue names and queue creation.
#pragma once

#include "Object.h"
#include "UtilityForm.h"
#include "UtilityRules.h"

namespace CorvaneQueue::facade {

class Utility final : public Object<Utility, UtilityForm<Utility>>, public UtilityRules {
 public:
  Utility() : UtilityRules(u"Utility") {}
  ~Utility() = default;

 private:
  // In the configured store; does nothing when that is neither "db" nor "msmq".
  void create(StringRef QueueName) override;
};

}  // namespace CorvaneQueue::facade
