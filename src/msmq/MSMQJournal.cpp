#include "MSMQJournal.h"

#include "MSMQQueue.h"

namespace CorvaneQueue {

MSMQJournal::MSMQJournal() = default;
MSMQJournal::~MSMQJournal() { queue_ = nullptr; }

void MSMQJournal::Initialize(StringRef Name) {
  queue_ = make<MSMQQueue>();
  messages_ = make<MSMQMessages>();
  queue_->Initialize(Name, true);
  messages_->Initialize(*queue_);
}

void MSMQJournal::Purge() { queue_->Purge(); }

}  // namespace CorvaneQueue
