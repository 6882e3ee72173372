// The embedded queue service, through the declared objects: what the model check does not ask.
#include "Expect.h"
#include "Installation.h"
#include "Processes.h"
#include "Queuing.h"

namespace {

using namespace queuing;
using namespace std::chrono_literals;
using Texts = std::vector<std::string>;
constexpr const char16_t* orders = u".\\PRIVATE$\\Orders";
constexpr const char16_t* ordersFormat = u"DIRECT=OS:.\\PRIVATE$\\Orders";
constexpr const char16_t* journalFormat = u"DIRECT=OS:.\\PRIVATE$\\Orders;JOURNAL";

void remove(const char16_t* path) { call<&IMSMQQueueInfo::raw_Delete>(infoOf(path)); }

TEST(QueueService, NamesQueues) {
  const Installation home;
  char host[256];
  gethostname(host, sizeof host);
  createQueue(orders);
  createQueue(u".\\Orders", Transactional::No);  // a public one of the same name
  for (const std::u16string& same :
       {std::u16string(u".\\private$\\ORDERS"), std::u16string(fromUtf8(host).view()) + u"\\Private$\\orders",
        std::u16string(u"127.0.0.1\\PRIVATE$\\Orders")})
    EXPECT_TRUE(call<&IMSMQQueueInfo::get_IsTransactional>(infoOf(same))) << toUtf8(same);
  EXPECT_FALSE(call<&IMSMQQueueInfo::get_IsTransactional>(infoOf(u".\\Orders")));
  EXPECT_TRUE(openFormat(u"direct=tcp:127.0.0.1\\private$\\orders", MQ_PEEK_ACCESS));

  const auto errorOfOpening = [](const char16_t* name) {
    return errorNumber([&] { open(name, MQ_PEEK_ACCESS); });
  };
  for (const char16_t* name : {u"Orders", u"\\PRIVATE$\\Orders", u".\\PRIVATE$\\", u".\\a\\b", u".\\a;b"})
    EXPECT_EQ(errorOfOpening(name), MQ_ERROR_ILLEGAL_QUEUE_PATHNAME) << toUtf8(name);
  EXPECT_EQ(errorOfOpening(u"elsewhere.example\\Orders"), MQ_ERROR_REMOTE_MACHINE_NOT_AVAILABLE);
  EXPECT_EQ(errorOfOpening(u".\\Nowhere"), MQ_ERROR_QUEUE_NOT_FOUND);
  for (const char16_t* format : {u"LOCAL\\PRIVATE$\\Orders", u"DIRECT=OS:", u"DIRECT=OS:.\\Orders;XACTONLY"})
    EXPECT_EQ(errorNumber([&] { openFormat(format, MQ_PEEK_ACCESS); }), MQ_ERROR_ILLEGAL_FORMATNAME);
  expectError(MQ_ERROR_QUEUE_EXISTS, u"MSMQ", "oRDERS", [] { createQueue(u".\\PRIVATE$\\oRDERS"); });
  remove(u".\\Orders");
  expectError(MQ_ERROR_QUEUE_NOT_FOUND, u"MSMQ", "Orders", [] { open(u".\\Orders", MQ_SEND_ACCESS); });
}

TEST(QueueService, CarriesMessagesUnchanged) {
  const Installation home;
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  const std::string bytes("a\0\xFF\x80z", 5);
  const std::u16string label(u"L\0\xD800\x20AC", 4);
  send(sender, bytes, alone(), label);
  const auto peeked = peek(receiver, 0, false);
  EXPECT_EQ(call<&IMSMQMessage::get_BodyLength>(peeked), 5);
  EXPECT_EQ(bodyOf(peeked), "");  // not wanted
  const auto first = receive(receiver);
  EXPECT_EQ(bodyOf(first), bytes);
  EXPECT_EQ(call<&IMSMQMessage::get_Label>(first), std::u16string_view(label));
  EXPECT_EQ(idOf(first), idOf(peeked));
  EXPECT_EQ(errorNumber([&] { send(sender, "x", alone(), std::u16string(250, u'x')); }),
            MQ_ERROR_LABEL_TOO_LONG);
  send(sender, "y", alone(), std::u16string(249, u'x'));
}

TEST(QueueService, HandlesAllowWhatTheyWereOpenedFor) {
  const Installation home;
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  const auto browser = open(orders, MQ_PEEK_ACCESS);
  const auto ofJournal = openFormat(journalFormat, MQ_SEND_ACCESS);
  const auto over = begin();
  commit(over);
  const auto undone = begin();
  abort(undone);
  abort(undone);  // over already: let go of
  const auto closed = open(orders, MQ_PEEK_ACCESS);
  call<&IMSMQQueue::raw_Close>(closed);
  const auto expectRefused = [](HRESULT number, const std::vector<std::function<void()>>& attempts) {
    for (std::size_t i = 0; i < attempts.size(); ++i) EXPECT_EQ(errorNumber(attempts[i]), number) << i;
  };
  expectRefused(MQ_ERROR_ACCESS_DENIED,
                {[&] { receive(sender); }, [&] { receive(browser); }, [&] { peek(sender); },
                 [&] { send(receiver, "x"); }, [&] { send(ofJournal, "x"); }});
  expectRefused(MQ_ERROR_TRANSACTION_SEQUENCE,
                {[&] { commit(over); }, [&] { commit(undone); }, [&] { send(sender, "x", over); }});
  expectRefused(MQ_ERROR_INVALID_HANDLE, {[&] { peek(closed); }});
  expectRefused(ErrorNumber::InvalidArgument, {[&] { open(orders, 3); }});
  EXPECT_EQ(bodies(ordersFormat), Texts{});
}

TEST(QueueService, RefusesOverAQuotaAndTellsOnceOfAJournalOverItsQuota) {
  const Installation home;
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  set(settingsOf(sender), true, 2, 1);
  for (int i = 0; i < 3; ++i) {
    send(sender, std::string(1024, 'k'));
    receive(receiver);
  }
  expectError(MQ_ERROR_INSUFFICIENT_RESOURCES, u"MSMQ", "quota of 2 kilobytes",
              [&] { send(sender, std::string(3000, 'k')); });
  const std::string log = home.read("log/corvane.log");
  const auto told = log.find("over its quota");
  ASSERT_NE(told, std::string::npos);
  EXPECT_EQ(log.find("over its quota", told + 1), std::string::npos) << log;
}

// The notifications of other processes' messages are looked at with the arrival events.
TEST(QueueService, NotifiesOnceForEachArming) {
  const Installation home;
  createQueue(orders);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  Texts arrived;
  std::optional<ArrivalEvent> event([&](const Ref<IMSMQQueue>& queue, LONG cursor) {
    EXPECT_EQ(queue.get(), receiver.get());
    EXPECT_EQ(cursor, 0);
    arrived.push_back(bodyOf(receive(queue)));
  });
  event->arm(receiver);
  EXPECT_EQ(Apartment::current().pump(0ms), 1);  // looks, and finds nothing
  send(sender, "one");
  while (arrived.empty()) Apartment::current().pump(10s);
  send(sender, "not armed");
  Apartment::current().pump(20ms);
  EXPECT_EQ(arrived, Texts{"one"});
  event->arm(receiver);  // there is one already: at the next pump, not now
  EXPECT_EQ(arrived.size(), 1u);
  Apartment::current().pump(1s);
  EXPECT_EQ(arrived, (Texts{"one", "not armed"}));
  event->arm(receiver);
  event.reset();  // and with it, its notification
  send(sender, "nobody listens");
  Apartment::current().pump(20ms);
  EXPECT_EQ(arrived.size(), 2u);
  // A handler that lets go of everything, and one that arms anew.
  int calls = 0;
  event.emplace([&](const Ref<IMSMQQueue>& queue, LONG) {
    event.reset();
    event.emplace([&](const Ref<IMSMQQueue>&, LONG) { ++calls; });
    event->arm(queue);
  });
  event->arm(receiver);
  while (calls == 0) Apartment::current().pump(1s);
}

TEST(QueueService, WhatADeadProcessHeldIsFreeAgain) {
  const Installation home;
  const Gate held;
  const Gate blocked;
  const pid_t holder = inProcess([&] {
    createQueue(orders);
    const auto sender = open(orders, MQ_SEND_ACCESS);
    send(sender, "held");
    const auto work = begin();
    receive(open(orders, MQ_RECEIVE_ACCESS), work);
    send(sender, "never", work);
    held.open();
    pause();
  });
  const pid_t other = inProcess([&] {
    blocked.pass();
    usleep(50'000);
    kill(holder, SIGKILL);
    usleep(50'000);
    send(open(orders, MQ_SEND_ACCESS), "late");
  });
  held.pass();
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  EXPECT_FALSE(receive(receiver));
  blocked.open();
  EXPECT_EQ(bodyOf(receive(receiver, In(), -1)), "held");  // at the holder's death
  EXPECT_EQ(bodyOf(peekCurrent(receiver, 60'000)), "late");
  EXPECT_TRUE(succeeded(other));
  endOf(holder);
  EXPECT_EQ(bodyOf(receive(receiver)), "late");
  EXPECT_FALSE(receive(receiver, In(), 50));  // nor what was sent in the dead process's transaction
}

TEST(QueueService, AForkedChildHasNoPartInWhatItsParentHolds) {
  const Installation home;
  createQueue(orders);
  send(open(orders, MQ_SEND_ACCESS), "held");
  auto work = begin();
  receive(open(orders, MQ_RECEIVE_ACCESS), work);
  const Gate released;
  const pid_t child = inProcess([&] {
    work = nullptr;  // would abort it
    released.open();
    pause();
  });
  released.pass();
  EXPECT_FALSE(receive(open(orders, MQ_RECEIVE_ACCESS)));
  abort(work);
  EXPECT_EQ(bodyOf(receive(open(orders, MQ_RECEIVE_ACCESS))), "held");  // while the child lives
  killed(child);
}

TEST(QueueService, InformationForgetsWhatItWasToldOfAnotherQueue) {
  const Installation home;
  createQueue(orders);
  const auto info = infoOf(orders);
  call<&IMSMQQueueInfo::put_Quota>(info, 5);
  call<&IMSMQQueueInfo::put_PathName>(info, u".\\Other");
  Variant yes(true);
  call<&IMSMQQueueInfo::raw_Create>(info, yes, yes);
  EXPECT_EQ(call<&IMSMQQueueInfo::get_Quota>(settingsOf(open(u".\\Other", MQ_PEEK_ACCESS))), -1);
  // A journal cannot be deleted without its queue.
  call<&IMSMQQueueInfo::put_FormatName>(info, journalFormat);
  EXPECT_NE(errorNumber([&] { call<&IMSMQQueueInfo::raw_Delete>(info); }), 0);
  EXPECT_TRUE(open(orders, MQ_PEEK_ACCESS));
}

TEST(QueueService, AQueueDeletedUnderAHandleSaysSo) {
  const Installation home;
  const Gate made;
  const pid_t deleter = inProcess([&] {
    made.pass();
    usleep(50'000);
    remove(orders);
  });
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  send(sender, "x");
  const auto work = begin();
  receive(receiver, work);
  made.open();
  expectError(MQ_ERROR_QUEUE_DELETED, u"MSMQ", "Orders", [&] { receive(receiver, In(), -1); });
  EXPECT_TRUE(succeeded(deleter));
  EXPECT_EQ(errorNumber([&] { send(sender, "x"); }), MQ_ERROR_QUEUE_DELETED);
  EXPECT_EQ(errorNumber([&] { commit(work); }), MQ_ERROR_QUEUE_DELETED);
  abort(work);
  createQueue(orders);
  EXPECT_EQ(bodies(ordersFormat), Texts{});
  EXPECT_EQ(errorNumber([&] { receive(receiver); }), MQ_ERROR_QUEUE_DELETED);
}

}  // namespace
