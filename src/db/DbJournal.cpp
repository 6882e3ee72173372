#include "DbJournal.h"

#include "DbQueue.h"

namespace CorvaneQueue {

DbJournal::DbJournal() = default;
DbJournal::~DbJournal() = default;

void DbJournal::Initialize(StringRef Name) {
  queue_ = make<DbQueue>();
  queue_->Initialize(Name, true);
  messages_ = make<DbMessages>();
  messages_->Initialize(*queue_);
}

void DbJournal::Purge() { queue_->Purge(); }

}  // namespace CorvaneQueue
