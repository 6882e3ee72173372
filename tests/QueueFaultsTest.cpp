// The queue service when the system fails it: every call once, a full disk, a flipped bit.
#include "Expect.h"
#include "Faults.h"
#include "Installation.h"
#include "Queuing.h"
#include "Stores.h"

#include <gmock/gmock.h>

#include <memory>

namespace {

using namespace queuing;
using Texts = std::vector<std::string>;
constexpr const char16_t* orders = u".\\PRIVATE$\\Orders";
constexpr const char16_t* ordersFormat = u"DIRECT=OS:.\\PRIVATE$\\Orders";
constexpr const char16_t* doneFormat = u"DIRECT=OS:.\\Done";

// Everything that can be seen of the installation.
std::string state() {
  std::string seen;
  for (const char16_t* format : {ordersFormat, doneFormat}) {
    seen += "[";
    try {
      for (const std::string& body : bodies(format)) seen += body + ",";
      const auto info = settingsOf(openFormat(format, MQ_PEEK_ACCESS));
      seen += "quota " + std::to_string(call<&IMSMQQueueInfo::get_Quota>(info));
    } catch (const Error& error) {
      if (error.number() != MQ_ERROR_QUEUE_NOT_FOUND) throw;
      seen += "not there";
    }
    seen += "]";
  }
  return seen;
}

void prepare() {
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  send(sender, "1");
  send(sender, "2");
}

struct Operation {
  const char* name;
  std::function<void()> run;
};
const Operation operations[] = {
    {"create", [] { createQueue(u".\\Done"); }},
    {"send", [] { send(open(orders, MQ_SEND_ACCESS), "3"); }},
    {"receive", [] { receive(open(orders, MQ_RECEIVE_ACCESS)); }},
    {"transaction",
     [] {
       const auto work = begin();
       receive(open(orders, MQ_RECEIVE_ACCESS), work);
       send(open(orders, MQ_SEND_ACCESS), "3", work);
       send(open(orders, MQ_SEND_ACCESS), "4", work);
       commit(work);
     }},
    {"settings",
     [] {
       const auto info = infoOf(orders);
       call<&IMSMQQueueInfo::put_Quota>(info, 7);
       call<&IMSMQQueueInfo::raw_Update>(info);
     }},
    {"delete", [] { call<&IMSMQQueueInfo::raw_Delete>(infoOf(orders)); }},
};

TEST(QueueFaults, EachCallMayFailOnce) {
  if (std::filesystem::exists("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);
  for (const Operation& operation : operations) {
    std::string before;
    std::string after;
    {
      const Installation home;
      prepare();
      before = state();
      operation.run();
      after = state();
    }
    int failed = 0;
    for (long call = 1;; ++call) {
      SCOPED_TRACE(std::string(operation.name) + ", call " + std::to_string(call));
      const Installation home;
      prepare();
      faults::arm(call);
      const auto error = errorOf(operation.run);
      const bool wasHit = faults::hasFired;
      faults::disarm();
      if (!wasHit) {
        EXPECT_FALSE(error) << error->what();
        break;
      }
      const std::string found = state();
      if (error) {
        ++failed;
        EXPECT_TRUE(found == before || found == after) << error->what() << "\n" << found;
        EXPECT_FALSE(error->description().empty());
      } else {
        EXPECT_EQ(found, after);
      }
      // What follows works: the store is sound.
      createQueue(u".\\Sound");
      send(open(u".\\Sound", MQ_SEND_ACCESS), "x");
      EXPECT_EQ(bodyOf(receive(open(u".\\Sound", MQ_RECEIVE_ACCESS))), "x");
    }
    EXPECT_GT(failed, 3) << operation.name;
  }
}

TEST(QueueFaults, AfterAFailedCommitNothingIsDoneTwice) {
  if (std::filesystem::exists("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);
  for (long call = 1;; ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    const Installation home;
    prepare();
    const auto work = begin();
    receive(open(orders, MQ_RECEIVE_ACCESS), work);
    send(open(orders, MQ_SEND_ACCESS), "3", work);
    faults::arm(call);
    const auto error = errorOf([&] { commit(work); });
    const bool wasHit = faults::hasFired;
    faults::disarm();
    if (error) commit(work);
    EXPECT_EQ(bodies(ordersFormat), (Texts{"2", "3"}));
    if (!wasHit) break;
  }
}

// Whether what is in the log survives is not known then: it is over, and nobody else is told that something
// is durable until the log has been written anew.
TEST(QueueFaults, WithoutSyncsNothingIsReportedAsDurable) {
  const Installation home;
  prepare();
  const auto sender = open(orders, MQ_SEND_ACCESS);
  send(sender, "3");  // begins the log
  const auto work = begin();
  receive(open(orders, MQ_RECEIVE_ACCESS), work);
  send(sender, "4", work);
  constexpr auto outcomeUnknown = static_cast<std::int32_t>(0x8004D016u);
  faults::doSyncsFail = true;
  EXPECT_EQ(errorNumber([&] { commit(work); }), outcomeUnknown);
  EXPECT_EQ(errorNumber([&] { commit(work); }), MQ_ERROR_TRANSACTION_SEQUENCE);
  const auto refused = errorOf([&] { send(sender, "refused"); });
  faults::doSyncsFail = false;
  ASSERT_TRUE(refused);
  EXPECT_THAT(refused->what(), testing::HasSubstr("Nothing was stored"));
  EXPECT_EQ(bodies(ordersFormat), (Texts{"2", "3", "4"}));
  send(sender, "5");
  EXPECT_EQ(bodies(ordersFormat), (Texts{"2", "3", "4", "5"}));
}

TEST(QueueFaults, OnAFullDiskOnlySendingStops) {
  const Installation home;
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  const std::string body(4000, 'x');
  for (int turn = 0; turn < 2; ++turn) {  // it may happen again
    for (int i = 0; i < 300; ++i) send(sender, body);
    faults::room() = 20'000;
    int sent = 300;
    const auto error = errorOf([&] {
      for (; sent < 5000; ++sent) send(sender, body);
    });
    ASSERT_TRUE(error);
    EXPECT_NE(std::string(error->what()).find("the disk is full"), std::string::npos) << error->what();
    EXPECT_EQ(static_cast<int>(bodies(ordersFormat).size()), sent);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(bodyOf(receive(receiver)), body);
    reset(receiver);
    const auto purge = begin();
    int purged = 0;
    while (receiveCurrent(receiver, purge)) ++purged;
    commit(purge);
    EXPECT_EQ(purged, sent - 100);
    EXPECT_EQ(bodies(ordersFormat), Texts{});
    faults::room() = -1;
  }
  send(sender, "again");
  EXPECT_EQ(bodies(ordersFormat), Texts{"again"});
}

TEST(QueueFaults, OnAFullDiskTheDatabaseStoreIsEmptiedToo) {
  const Installation home(stores::settingsOf(stores::Store::Database));
  const auto queue = stores::openQueue(stores::Store::Database, "Orders");
  const std::string body(4000, 'x');
  for (int turn = 0; turn < 2; ++turn) {
    queue->SendDocument(body);
    faults::room() = 20'000;
    int sent = 1;
    const auto error = errorOf([&] {
      for (; sent < 5000; ++sent) queue->SendDocument(body);
    });
    ASSERT_TRUE(error);
    EXPECT_THAT(error->what(), testing::HasSubstr("the disk is full; nothing was stored"));
    stores::Receiver documents(stores::Store::Database, queue);
    for (int i = 0; i < sent / 2; ++i) EXPECT_EQ(documents.take(), body);
    queue->Purge();
    EXPECT_TRUE(queue->IsEmpty());
    stores::listed("Orders")->Journal()->Purge();
    faults::room() = -1;
  }
  queue->SendDocument("again");
  EXPECT_EQ(stores::waiting("Orders"), stores::Texts{"again"});
}

TEST(QueueFaults, AFlippedBitNeverMakesAWrongBody) {
  if (std::filesystem::exists("/dev/shm")) setenv("TMPDIR", "/dev/shm", 1);
  const Installation home;
  const auto file = home.file("msmq/storage/queues.db");
  std::set<std::string> sent;
  {
    createQueue(orders);
    const auto sender = open(orders, MQ_SEND_ACCESS);
    for (int i = 0; i < 6; ++i) {
      const std::string body = "body " + std::to_string(i) + std::string(40, static_cast<char>('a' + i));
      send(sender, body, alone(), fromUtf8("label " + std::to_string(i)));
      sent.insert(body);
    }
  }
  // Closing has moved everything into the file itself.
  std::string whole;
  {
    std::ifstream stream(file, std::ios::binary);
    whole.assign(std::istreambuf_iterator<char>(stream), {});
  }
  ASSERT_GT(whole.size(), 4096u);
  std::size_t last = whole.find_last_not_of('\0');
  int errors = 0;
  const std::size_t step = std::max<std::size_t>(1, last / 1500);  // of all bits, evenly spread
  for (std::size_t at = 0; at <= last; at += step) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ (1 << (at / step % 8)));
    for (const char* tail : {"-wal", "-shm"}) std::filesystem::remove(file.string() + tail);
    std::ofstream(file, std::ios::binary | std::ios::trunc) << damaged;
    try {
      const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
      while (const auto message = receive(receiver, In(MQ_NO_TRANSACTION)))
        EXPECT_TRUE(sent.contains(bodyOf(message))) << "bit at " << at << ": " << bodyOf(message);
    } catch (const Error& error) {
      ++errors;
      EXPECT_FALSE(error.description().empty());
    }
  }
  EXPECT_GT(errors, 30);
}

}  // namespace
