// The object model on any store, through the handles that C++ clients write with.
#pragma once

#include "Installation.h"
#ifdef DATABASE_SERVER
#include "ServerStores.h"
#endif

#include <CorvaneQueue/CorvaneQueue.h>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace stores {

using namespace CorvaneQueue;
using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

enum class Store { Database, MessageQueuing, PostgreSql };
inline bool isDatabase(Store store) { return store != Store::MessageQueuing; }
inline std::string typeOf(Store store) { return isDatabase(store) ? "db" : "msmq"; }
inline std::string nameOf(Store store) { return store == Store::PostgreSql ? "postgresql" : typeOf(store); }
inline Store storeNamed(const std::string& name) {
  return name == "db" ? Store::Database : name == "msmq" ? Store::MessageQueuing : Store::PostgreSql;
}
#ifdef DATABASE_SERVER
constexpr Store everyStore[] = {Store::PostgreSql};
#else
constexpr Store everyStore[] = {Store::Database, Store::MessageQueuing};
#endif
inline std::string settingsOf(Store store) {
#ifdef DATABASE_SERVER
  if (store == Store::PostgreSql) return newServerStore();
#endif
  return "[Configuration.Global]\nQueueStoreType = \"" + typeOf(store) + "\"\n";
}

// A queue that keeps a journal; the database store always does.
inline Queue openQueue(Store store, const Text& name) {
  auto queue = create<Queue>();
  queue->Initialize(name);
  if (store == Store::MessageQueuing && !queue->JournalEnabled()) queue->JournalEnabled(true);
  return queue;
}
inline Queue listed(const Text& name) { return create<Queues>()->Item(name); }

// The documents that wait, read.
inline Messages browsed(const Text& name) {
  auto messages = listed(name)->Messages();
  messages->Refresh();
  return messages;
}
inline Texts bodies(const Messages& messages) {
  messages->Refresh();
  Texts found;
  for (const auto& message : messages) found.push_back(toUtf8(message->Body()));
  return found;
}
inline Texts waiting(const Text& name) { return bodies(listed(name)->Messages()); }
inline Texts journaled(const Text& name) { return bodies(listed(name)->Journal()->Messages()); }

// Takes documents in, in the way of the store: by polling inside a transaction, or by arrival.
class Receiver {
 public:
  using Handler = std::function<void(const std::string& document)>;
  // `handle` is called before the document is acknowledged.
  Receiver(Store store, Queue queue, Handler handle = {})
      : store_(store), queue_(std::move(queue)), handle_(std::move(handle)) {
    if (isDatabase(store_)) return;
    arrivals_ = queue_->evtArrived([this](String& document, String& identifier) {
      taken_ = toUtf8(document);
      if (handle_) handle_(*taken_);
      queue_->AcknowledgeDocument(identifier);
    });
    queue_->ReceiveEnable();
  }
  // The next document, acknowledged; nothing when none comes in that time.
  std::optional<std::string> take(std::chrono::milliseconds time = 0ms) {
    taken_.reset();
    const auto end = std::chrono::steady_clock::now() + time;
    while (true) {
      if (isDatabase(store_))
        poll();
      else
        Apartment::current().pump(std::min(time, 20ms));
      if (taken_ || std::chrono::steady_clock::now() >= end) return taken_;
      if (isDatabase(store_)) std::this_thread::sleep_for(1ms);
    }
  }
  // After the exception of a handler: the document is announced again.
  void putBack() {
    queue_->Abort();
    if (isDatabase(store_)) return;
    queue_->ReceiveDisable();
    queue_->ReceiveEnable();
  }
  Texts takeAll() {
    Texts taken;
    while (auto document = take(50ms)) taken.push_back(std::move(*document));
    return taken;
  }

 private:
  void poll() {
    queue_->BeginTransaction();
    if (const auto message = queue_->ReceiveNext()) {
      taken_ = toUtf8(message->Body());
      if (handle_) handle_(*taken_);
      queue_->AcknowledgeDocument(message->ID());
    }
    queue_->Commit();
  }
  Store store_;
  Queue queue_;
  Handler handle_;
  Subscription arrivals_;
  std::optional<std::string> taken_;
};

}  // namespace stores
