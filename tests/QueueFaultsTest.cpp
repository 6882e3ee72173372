// The queue service when the system fails it: every call once, a full disk, a flipped bit.
#include "Expect.h"
#include "Faults.h"
#include "Installation.h"
#include "Queuing.h"
#include "Stores.h"

#include <gmock/gmock.h>
#include <set>

namespace {

using namespace queuing;
using stores::Store;
using stores::Texts;
using ::testing::HasSubstr;
constexpr const char16_t* orders = u".\\PRIVATE$\\Orders";
constexpr const char16_t* ordersFormat = u"DIRECT=OS:.\\PRIVATE$\\Orders";
constexpr const char16_t* doneFormat = u"DIRECT=OS:.\\Done";

// Everything that can be seen of the installation.
std::string state() {
  std::string seen;
  for (const char16_t* format : {ordersFormat, doneFormat}) {
    const auto error = errorOf([&] {
      for (const std::string& body : bodies(format)) seen += body + ",";
      const auto info = settingsOf(openFormat(format, MQ_PEEK_ACCESS));
      seen += "quota " + std::to_string(call<&IMSMQQueueInfo::get_Quota>(info)) + ";";
    });
    if (error && error->number() != MQ_ERROR_QUEUE_NOT_FOUND) throw *error;
    if (error) seen += "not there;";
  }
  return seen;
}

void prepare() {
  createQueue(orders);
  for (const char* text : {"1", "2"}) send(open(orders, MQ_SEND_ACCESS), text);
}

TEST(QueueFaults, EachCallMayFailOnce) {
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"create", [] { createQueue(u".\\Done"); }},
      {"send", [] { send(open(orders, MQ_SEND_ACCESS), "3"); }},
      {"receive", [] { receive(open(orders, MQ_RECEIVE_ACCESS)); }},
      {"transaction",
       [] {
         const auto work = begin();
         receive(open(orders, MQ_RECEIVE_ACCESS), work);
         for (const char* text : {"3", "4"}) send(open(orders, MQ_SEND_ACCESS), text, work);
         commit(work);
       }},
      {"settings", [] { set(infoOf(orders), false, 7); }},
      {"delete", [] { call<&IMSMQQueueInfo::raw_Delete>(infoOf(orders)); }},
  };
  for (const auto& [name, run] : operations) {
    std::string before, after;
    {
      const Installation home;
      prepare();
      before = state();
      run();
      after = state();
    }
    int failed = 0;
    for (long call = 1;; ++call) {
      SCOPED_TRACE(std::string(name) + ", call " + std::to_string(call));
      const Installation home;
      prepare();
      std::optional<Error> error;
      const bool wasHit = faults::whileFailing(call, [&, &work = run] { error = errorOf(work); });
      const std::string found = state();
      if (error) {
        ++failed;
        EXPECT_TRUE(wasHit && (found == before || found == after)) << error->what() << "\n" << found;
        EXPECT_FALSE(error->description().empty());
      } else {
        EXPECT_EQ(found, after);
      }
      if (!wasHit) break;
      // What follows works: the store is sound.
      createQueue(u".\\Sound");
      send(open(u".\\Sound", MQ_SEND_ACCESS), "x");
      EXPECT_EQ(bodyOf(receive(open(u".\\Sound", MQ_RECEIVE_ACCESS))), "x");
    }
    EXPECT_GT(failed, 3) << name;
  }
}

TEST(QueueFaults, AfterAFailedCommitNothingIsDoneTwice) {
  for (long call = 1, wasHit = true; wasHit; ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    const Installation home;
    prepare();
    const auto work = begin();
    receive(open(orders, MQ_RECEIVE_ACCESS), work);
    send(open(orders, MQ_SEND_ACCESS), "3", work);
    std::optional<Error> error;
    wasHit = faults::whileFailing(call, [&] { error = errorOf([&] { commit(work); }); });
    if (error) commit(work);
    EXPECT_EQ(bodies(ordersFormat), (Texts{"2", "3"}));
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
  EXPECT_THAT(refused->what(), HasSubstr("Nothing was stored"));
  EXPECT_EQ(bodies(ordersFormat), (Texts{"2", "3", "4"}));
  send(sender, "5");
  EXPECT_EQ(bodies(ordersFormat), (Texts{"2", "3", "4", "5"}));
}

TEST(QueueFaults, AFlippedBitNeverMakesAWrongBody) {
  const Installation home;
  const auto file = home.file("msmq/storage/queues.db");
  std::set<std::string> sent;
  createQueue(orders);
  for (const char letter : {'a', 'b', 'c', 'd', 'e', 'f'}) {
    sent.insert(std::string(40, letter));
    send(open(orders, MQ_SEND_ACCESS), std::string(40, letter), alone(), u"label");
  }
  const std::string whole = home.read("msmq/storage/queues.db");  // closing has moved everything into it
  ASSERT_GT(whole.size(), 4096u);
  const std::size_t last = whole.find_last_not_of('\0');
  int errors = 0;
  const std::size_t step = std::max<std::size_t>(1, last / 1500);  // of all bits, evenly spread
  for (std::size_t at = 0; at <= last; at += step) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ (1 << (at / step % 8)));
    for (const char* tail : {"-wal", "-shm"}) std::filesystem::remove(file.string() + tail);
    std::ofstream(file, std::ios::binary | std::ios::trunc) << damaged;
    const auto error = errorOf([&] {
      const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
      while (const auto message = receive(receiver))
        EXPECT_TRUE(sent.contains(bodyOf(message))) << "bit at " << at << ": " << bodyOf(message);
    });
    errors += error ? 1 : 0;
    EXPECT_FALSE(error && error->description().empty());
  }
  EXPECT_GT(errors, 30);
}

class FullDisk : public ::testing::TestWithParam<Store> {};
INSTANTIATE_TEST_SUITE_P(Stores, FullDisk, ::testing::Values(Store::Database, Store::MessageQueuing),
                         [](const auto& each) { return stores::nameOf(each.param); });

TEST_P(FullDisk, StopsOnlySending) {
  using namespace stores;
  const Installation home(stores::settingsOf(GetParam()));
  const auto queue = openQueue(GetParam(), "Orders");
  const std::string body(4000, 'x');
  for (int turn = 0; turn < 2; ++turn) {  // it may happen again
    std::size_t sent = 0;
    const auto sendUpTo = [&](std::size_t count) {
      for (; sent < count; ++sent) queue->SendDocument(body);
    };
    sendUpTo(300);
    faults::room() = 20'000;
    const auto error = errorOf([&] { sendUpTo(5000); });
    ASSERT_TRUE(error);
    EXPECT_THAT(error->what(), HasSubstr("the disk is full; nothing was stored"));
    queue->BeginTransaction();
    EXPECT_TRUE(errorOf([&] { queue->SendDocument(std::string(2'000'000, 'y')), queue->Commit(); }));
    queue->Abort();
    EXPECT_EQ(waiting("Orders").size(), sent);
    {
      Receiver documents(GetParam(), openQueue(GetParam(), "Orders"));
      for (int i = 0; i < 150; ++i) EXPECT_EQ(documents.take(5s), body);
    }
    queue->Purge();
    EXPECT_TRUE(queue->IsEmpty());
    listed("Orders")->Journal()->Purge();
    faults::room() = -1;
  }
  queue->SendDocument("again");
  EXPECT_EQ(waiting("Orders"), Texts{"again"});
}

}  // namespace
