// The embedded queue service, through the declared objects.
#include "Expect.h"
#include "Installation.h"
#include "Queuing.h"

#include <sys/wait.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>

namespace {

using namespace queuing;
using Texts = std::vector<std::string>;
constexpr const char16_t* orders = u".\\PRIVATE$\\Orders";
constexpr const char16_t* ordersFormat = u"DIRECT=OS:.\\PRIVATE$\\Orders";
constexpr const char16_t* journalFormat = u"DIRECT=OS:.\\PRIVATE$\\Orders;JOURNAL";

// Runs the body in a process of its own once it is let go; what it returns is the exit code. Make it
// before this process uses a queue.
class Process {
 public:
  explicit Process(const std::function<int()>& body) {
    if (pipe(gate_) != 0) throw std::runtime_error("no pipe");
    id_ = fork();
    if (id_ != 0) return;
    try {
      char byte;
      ::close(gate_[1]);
      if (::read(gate_[0], &byte, 1) != 1) _exit(98);
      _exit(body());
    } catch (const Error& error) {
      std::fprintf(stderr, "child: %s\n", error.what());
    }
    _exit(99);
  }
  ~Process() {
    ::close(gate_[0]);
    ::close(gate_[1]);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  void go() { static_cast<void>(::write(gate_[1], "x", 1) == 1); }
  int wait() {
    int status = 0;
    waitpid(id_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void kill() {
    ::kill(id_, SIGKILL);
    wait();
  }

 private:
  int gate_[2];
  pid_t id_;
};

TEST(QueueService, NamesQueues) {
  const Installation home;
  char host[256];
  gethostname(host, sizeof host);
  const std::u16string here(fromUtf8(host).view());
  createQueue(orders);
  createQueue(u".\\Orders", Transactional::No);  // a public one of the same name
  for (const std::u16string& same : {std::u16string(u".\\private$\\ORDERS"), here + u"\\Private$\\orders",
                                     std::u16string(u"127.0.0.1\\PRIVATE$\\Orders")})
    EXPECT_TRUE(call<&IMSMQQueueInfo::get_IsTransactional>(infoOf(same))) << toUtf8(same);
  EXPECT_FALSE(call<&IMSMQQueueInfo::get_IsTransactional>(infoOf(u".\\Orders")));
  EXPECT_TRUE(openFormat(u"direct=tcp:127.0.0.1\\private$\\orders", MQ_PEEK_ACCESS));

  struct Wrong {
    const char16_t* name;
    HRESULT error;
  };
  const Wrong wrongNames[] = {{u"Orders", MQ_ERROR_ILLEGAL_QUEUE_PATHNAME},
                              {u"\\PRIVATE$\\Orders", MQ_ERROR_ILLEGAL_QUEUE_PATHNAME},
                              {u".\\PRIVATE$\\", MQ_ERROR_ILLEGAL_QUEUE_PATHNAME},
                              {u".\\a\\b", MQ_ERROR_ILLEGAL_QUEUE_PATHNAME},
                              {u".\\a;b", MQ_ERROR_ILLEGAL_QUEUE_PATHNAME},
                              {u"elsewhere.example\\Orders", MQ_ERROR_REMOTE_MACHINE_NOT_AVAILABLE},
                              {u".\\Nowhere", MQ_ERROR_QUEUE_NOT_FOUND}};
  for (const Wrong& wrong : wrongNames)
    EXPECT_EQ(errorNumber([&] { open(wrong.name, MQ_PEEK_ACCESS); }), wrong.error) << toUtf8(wrong.name);
  for (const char16_t* format : {u"LOCAL\\PRIVATE$\\Orders", u"DIRECT=OS:", u"DIRECT=OS:.\\Orders;XACTONLY"})
    EXPECT_EQ(errorNumber([&] { openFormat(format, MQ_PEEK_ACCESS); }), MQ_ERROR_ILLEGAL_FORMATNAME);
  expectError(MQ_ERROR_QUEUE_EXISTS, u"MSMQ", "oRDERS", [] { createQueue(u".\\PRIVATE$\\oRDERS"); });
  call<&IMSMQQueueInfo::raw_Delete>(infoOf(u".\\Orders"));
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
  send(sender, "", alone());
  send(sender, std::string(3'000'000, 'x'), alone());
  const auto peeked = peek(receiver, 0, false);
  EXPECT_EQ(call<&IMSMQMessage::get_BodyLength>(peeked), 5);
  EXPECT_EQ(bodyOf(peeked), "");  // not wanted
  const auto first = receive(receiver);
  EXPECT_EQ(bodyOf(first), bytes);
  EXPECT_EQ(call<&IMSMQMessage::get_Label>(first), std::u16string_view(label));
  EXPECT_EQ(idOf(first), idOf(peeked));
  EXPECT_EQ(idOf(first).size(), 20u);
  EXPECT_EQ(call<&IMSMQMessage::get_MaxTimeToReceive>(first), -1);
  const double now = 25569 + static_cast<double>(time(nullptr)) / 86400;  // the tests run in UTC or near it
  EXPECT_NEAR(toDate(call<&IMSMQMessage::get_SentTime>(first).get()).value, now, 1);
  EXPECT_EQ(bodyOf(receive(receiver)), "");
  EXPECT_EQ(bodyOf(receive(receiver)).size(), 3'000'000u);
  EXPECT_FALSE(receive(receiver, In(), 10));
  EXPECT_EQ(errorNumber([&] { send(sender, "x", alone(), std::u16string(250, u'x')); }),
            MQ_ERROR_LABEL_TOO_LONG);
  send(sender, "y", alone(), std::u16string(249, u'x'));

  // The same members by name.
  const auto late = query<IDispatch>(receive(receiver).get());
  char16_t name[] = u"lAbel";
  LPOLESTR names[] = {name};
  DISPID id = 0;
  ASSERT_EQ(late->GetIDsOfNames(IID_NULL, names, 1, 1033, &id), S_OK);
  Variant value;
  DISPPARAMS none{};
  late->Invoke(id, IID_NULL, 1033, DISPATCH_PROPERTYGET, &none, value.address(), nullptr, nullptr);
  EXPECT_EQ(toString(value.get()).size(), 249u);
}

TEST(QueueService, NumbersNeverRepeat) {
  const Installation home;
  createQueue(orders);
  createQueue(u".\\Other");
  std::set<std::vector<std::uint8_t>> seen;
  for (int round = 0; round < 5; ++round) {   // always an empty store, also after a restart
    send(open(orders, MQ_SEND_ACCESS), "x");  // nothing stays open: each is a session of its own
    EXPECT_TRUE(seen.insert(idOf(receive(open(orders, MQ_RECEIVE_ACCESS)))).second);
  }
}

TEST(QueueService, KeepsToAccessAndTransactionRules) {
  const Installation home;
  createQueue(orders);
  createQueue(u".\\Plain", Transactional::No);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  const auto browser = open(orders, MQ_PEEK_ACCESS);
  const auto plain = open(u".\\Plain", MQ_SEND_ACCESS);
  const auto plainReceiver = open(u".\\Plain", MQ_RECEIVE_ACCESS);
  EXPECT_EQ(errorNumber([&] { receive(sender); }), MQ_ERROR_ACCESS_DENIED);
  EXPECT_EQ(errorNumber([&] { receive(browser); }), MQ_ERROR_ACCESS_DENIED);
  EXPECT_EQ(errorNumber([&] { peek(sender); }), MQ_ERROR_ACCESS_DENIED);
  EXPECT_EQ(errorNumber([&] { send(receiver, "x"); }), MQ_ERROR_ACCESS_DENIED);
  EXPECT_EQ(errorNumber([&] { send(openFormat(journalFormat, MQ_SEND_ACCESS), "x"); }),
            MQ_ERROR_ACCESS_DENIED);
  EXPECT_EQ(errorNumber([&] { send(sender, "x", In()); }), MQ_ERROR_TRANSACTION_USAGE);
  EXPECT_EQ(errorNumber([&] { send(plain, "x", alone()); }), MQ_ERROR_TRANSACTION_USAGE);
  EXPECT_EQ(errorNumber([&] { send(plain, "x", begin()); }), MQ_ERROR_TRANSACTION_USAGE);
  EXPECT_EQ(errorNumber([&] { receive(plainReceiver, begin()); }), MQ_ERROR_TRANSACTION_USAGE);
  EXPECT_EQ(errorNumber([&] { peekNext(receiver); }), MQ_ERROR_ILLEGAL_CURSOR_ACTION);
  EXPECT_EQ(errorNumber([&] { open(orders, 3); }), ErrorNumber::InvalidArgument);
  send(plain, "p", In());
  send(sender, "o", alone());
  EXPECT_EQ(bodyOf(receive(plainReceiver)), "p");
  EXPECT_EQ(bodyOf(receive(receiver, In(MQ_NO_TRANSACTION))), "o");
  const auto over = begin();
  commit(over);
  EXPECT_EQ(errorNumber([&] { commit(over); }), MQ_ERROR_TRANSACTION_SEQUENCE);
  EXPECT_EQ(errorNumber([&] { send(sender, "x", over); }), MQ_ERROR_TRANSACTION_SEQUENCE);
  call<&IMSMQQueue::raw_Close>(browser);
  EXPECT_EQ(errorNumber([&] { peek(browser); }), MQ_ERROR_INVALID_HANDLE);
  EXPECT_EQ(bodies(ordersFormat), Texts{});
}

TEST(QueueService, TransactionsAreAllOrNothing) {
  const Installation home;
  createQueue(orders);
  createQueue(u".\\Done");
  const auto sender = open(orders, MQ_SEND_ACCESS);
  for (const char* text : {"1", "2", "3"}) send(sender, text);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  const auto done = open(u".\\Done", MQ_SEND_ACCESS);
  {
    const auto work = begin();
    EXPECT_EQ(bodyOf(receive(receiver, work)), "1");
    EXPECT_EQ(bodyOf(receive(receiver, work)), "2");
    send(done, "kept back", work);
    EXPECT_EQ(bodies(ordersFormat), Texts{"3"});  // others skip what is held
    EXPECT_EQ(bodies(u"DIRECT=OS:.\\Done"), Texts{});
    const auto other = begin();
    EXPECT_EQ(bodyOf(receive(receiver, other)), "3");
    EXPECT_FALSE(receive(receiver, other));
    abort(other);
    abort(work);
  }
  EXPECT_EQ(bodies(ordersFormat), (Texts{"1", "2", "3"}));  // in their old places
  EXPECT_EQ(bodies(u"DIRECT=OS:.\\Done"), Texts{});
  {
    const auto forgotten = begin();
    receive(receiver, forgotten);
  }
  const auto work = begin();
  EXPECT_EQ(bodyOf(receive(receiver, work)), "1");
  send(done, "a", work);
  send(done, "b", work);
  commit(work);
  EXPECT_EQ(bodies(ordersFormat), (Texts{"2", "3"}));
  EXPECT_EQ(bodies(u"DIRECT=OS:.\\Done"), (Texts{"a", "b"}));
}

TEST(QueueService, ACursorFollowsItsRules) {
  const Installation home;
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  for (const char* text : {"1", "2", "3", "4"}) send(sender, text);
  const auto cursor = open(orders, MQ_RECEIVE_ACCESS);
  const auto other = open(orders, MQ_RECEIVE_ACCESS);
  EXPECT_EQ(bodyOf(peekCurrent(cursor)), "1");
  EXPECT_EQ(bodyOf(peekCurrent(cursor)), "1");
  EXPECT_EQ(bodyOf(peekNext(cursor)), "2");
  EXPECT_EQ(bodyOf(receiveCurrent(cursor)), "2");
  EXPECT_EQ(bodyOf(peekCurrent(cursor)), "3");  // stands on the following message
  EXPECT_EQ(bodyOf(receive(other)), "1");
  EXPECT_EQ(bodyOf(receive(other)), "3");
  EXPECT_EQ(errorNumber([&] { peekCurrent(cursor); }), MQ_ERROR_MESSAGE_ALREADY_RECEIVED);
  EXPECT_EQ(errorNumber([&] { receiveCurrent(cursor); }), MQ_ERROR_MESSAGE_ALREADY_RECEIVED);
  EXPECT_EQ(bodyOf(peekNext(cursor)), "4");
  EXPECT_FALSE(peekNext(cursor));
  send(sender, "5");
  EXPECT_EQ(bodyOf(peekNext(cursor)), "5");
  reset(cursor);
  EXPECT_EQ(bodyOf(receiveCurrent(cursor)), "4");
  EXPECT_EQ(bodyOf(receiveCurrent(cursor)), "5");
  EXPECT_FALSE(receiveCurrent(cursor));
  send(sender, "6");
  EXPECT_EQ(bodyOf(peekCurrent(cursor)), "6");
}

TEST(QueueService, JournalsAndQuotas) {
  const Installation home;
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  const auto settings = settingsOf(sender);
  EXPECT_EQ(call<&IMSMQQueueInfo::get_Quota>(settings), -1);
  call<&IMSMQQueueInfo::put_Journal>(settings, MQ_JOURNAL);
  call<&IMSMQQueueInfo::raw_Update>(settings);
  call<&IMSMQQueueInfo::raw_Refresh>(settingsOf(receiver));
  EXPECT_EQ(call<&IMSMQQueueInfo::get_Journal>(settingsOf(receiver)), MQ_JOURNAL);
  for (const char* text : {"1", "2", "3"}) send(sender, text);
  receive(receiver);
  const auto work = begin();
  receive(receiver, work);
  EXPECT_EQ(bodies(journalFormat), Texts{"1"});
  commit(work);
  const auto undone = begin();
  receive(receiver, undone);
  abort(undone);
  abort(undone);  // over already: let go of
  EXPECT_EQ(errorNumber([&] { commit(undone); }), MQ_ERROR_TRANSACTION_SEQUENCE);
  EXPECT_EQ(bodies(journalFormat), (Texts{"1", "2"}));
  const auto journal = openFormat(journalFormat, MQ_RECEIVE_ACCESS);
  EXPECT_EQ(bodyOf(receive(journal)), "1");
  EXPECT_EQ(bodies(journalFormat), Texts{"2"});
  EXPECT_EQ(bodyOf(receive(receiver)), "3");

  const std::string kilobyte(1024, 'k');
  call<&IMSMQQueueInfo::put_Quota>(settings, 2);
  call<&IMSMQQueueInfo::put_JournalQuota>(settings, 1);
  call<&IMSMQQueueInfo::raw_Update>(settings);
  send(sender, kilobyte);
  const auto sending = begin();
  send(sender, kilobyte, sending);
  expectError(MQ_ERROR_INSUFFICIENT_RESOURCES, u"MSMQ", "quota of 2 kilobytes",
              [&] { send(sender, "x", sending); });
  commit(sending);
  EXPECT_EQ(errorNumber([&] { send(sender, "x"); }), MQ_ERROR_INSUFFICIENT_RESOURCES);
  receive(receiver);  // the journal holds the newest kilobyte
  EXPECT_EQ(bodies(journalFormat), Texts{kilobyte});
  send(sender, "fits");
  receive(receiver);
  receive(receiver);
  EXPECT_EQ(bodies(journalFormat), Texts{"fits"});
  const std::string log = home.read("log/corvane.log");
  const auto told = log.find("over its quota");
  ASSERT_NE(told, std::string::npos);
  EXPECT_EQ(log.find("over its quota", told + 1), std::string::npos) << log;  // once
}

TEST(QueueService, WaitsWithoutBeingAskedAgain) {
  const Installation home;
  Process sender([] {
    usleep(100'000);
    send(open(orders, MQ_SEND_ACCESS), "late");
    usleep(100'000);
    send(open(orders, MQ_SEND_ACCESS), "later");
    return 0;
  });
  createQueue(orders);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  sender.go();
  EXPECT_EQ(bodyOf(receive(receiver, In(), -1)), "late");
  EXPECT_EQ(bodyOf(peekCurrent(receiver, 60'000)), "later");
  EXPECT_EQ(sender.wait(), 0);
  receive(receiver);
  EXPECT_FALSE(receive(receiver, In(), 50));
}

TEST(QueueService, NotifiesOnceForEachArming) {
  const Installation home;
  using namespace std::chrono_literals;
  Process sender([] {
    usleep(50'000);
    send(open(orders, MQ_SEND_ACCESS), "from another process");
    return 0;
  });
  createQueue(orders);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  Texts arrived;
  std::optional<ArrivalEvent> event([&](const Ref<IMSMQQueue>& queue, LONG cursor) {
    EXPECT_EQ(queue.get(), receiver.get());
    EXPECT_EQ(cursor, 0);
    arrived.push_back(bodyOf(receive(queue)));
  });
  event->arm(receiver);
  EXPECT_EQ(Apartment::current().pump(0ms), 1);  // looks, and finds nothing
  EXPECT_EQ(arrived, Texts{});
  sender.go();
  while (arrived.empty()) Apartment::current().pump(10s);
  EXPECT_EQ(sender.wait(), 0);
  const auto own = open(orders, MQ_SEND_ACCESS);
  send(own, "not armed");
  Apartment::current().pump(20ms);
  EXPECT_EQ(arrived, Texts{"from another process"});
  event->arm(receiver);  // there is one already: at the next pump, not now
  EXPECT_EQ(arrived.size(), 1u);
  Apartment::current().pump(1s);
  EXPECT_EQ(arrived.back(), "not armed");

  // Held by a transaction that is then aborted.
  send(own, "held");
  auto work = begin();
  receive(receiver, work);
  event->arm(receiver);
  Apartment::current().pump(10ms);
  EXPECT_EQ(arrived.size(), 2u);
  work = nullptr;
  while (arrived.size() < 3) Apartment::current().pump(10s);
  EXPECT_EQ(arrived.back(), "held");

  event->arm(receiver);
  event.reset();  // and with it, its notification
  send(own, "nobody listens");
  Apartment::current().pump(20ms);
  EXPECT_EQ(arrived.size(), 3u);
  // A handler that lets go of everything, and one that arms anew.
  int calls = 0;
  event.emplace([&](const Ref<IMSMQQueue>& queue, LONG) {
    event.reset();
    if (++calls == 1) event.emplace([&](const Ref<IMSMQQueue>&, LONG) { calls = 10; });
    if (event) event->arm(queue);
  });
  event->arm(receiver);
  while (calls < 10) Apartment::current().pump(1s);
  call<&IMSMQQueue::raw_Close>(receiver);
}

TEST(QueueService, WhatADeadProcessHeldIsFreeAgain) {
  const Installation home;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  Process holder([&] {
    createQueue(orders);
    const auto sender = open(orders, MQ_SEND_ACCESS);
    send(sender, "held");
    const auto work = begin();
    receive(open(orders, MQ_RECEIVE_ACCESS), work);
    send(sender, "never", work);
    static_cast<void>(write(ready[1], "x", 1) == 1);
    pause();
    return 0;
  });
  char byte;
  holder.go();
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  EXPECT_FALSE(receive(receiver));
  std::thread killer([&] {
    usleep(50'000);
    holder.kill();
  });
  EXPECT_EQ(bodyOf(receive(receiver, In(), 10'000)), "held");  // at the holder's death, not after the time
  killer.join();
  EXPECT_FALSE(receive(receiver));
}

TEST(QueueService, AForkedChildHasNoPartInWhatItsParentHolds) {
  const Installation home;
  createQueue(orders);
  send(open(orders, MQ_SEND_ACCESS), "held");
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  auto work = begin();
  receive(receiver, work);
  int released[2];
  ASSERT_EQ(pipe(released), 0);
  const pid_t child = fork();
  if (child == 0) {
    work = nullptr;  // would abort it
    static_cast<void>(write(released[1], "x", 1) == 1);
    pause();
  }
  char byte;
  ASSERT_EQ(read(released[0], &byte, 1), 1);
  EXPECT_FALSE(receive(open(orders, MQ_RECEIVE_ACCESS)));
  abort(work);
  EXPECT_EQ(bodyOf(receive(open(orders, MQ_RECEIVE_ACCESS))), "held");  // while the child lives
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
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
  call<&IMSMQQueueInfo::put_FormatName>(info, std::u16string(ordersFormat) + u";JOURNAL");
  EXPECT_NE(errorNumber([&] { call<&IMSMQQueueInfo::raw_Delete>(info); }), 0);
  EXPECT_TRUE(open(orders, MQ_PEEK_ACCESS));
}

TEST(QueueService, AQueueDeletedUnderAHandleSaysSo) {
  const Installation home;
  Process deleter([] {
    usleep(50'000);
    call<&IMSMQQueueInfo::raw_Delete>(infoOf(orders));
    return 0;
  });
  createQueue(orders);
  const auto sender = open(orders, MQ_SEND_ACCESS);
  const auto receiver = open(orders, MQ_RECEIVE_ACCESS);
  send(sender, "x");
  const auto work = begin();
  receive(receiver, work);
  deleter.go();
  expectError(MQ_ERROR_QUEUE_DELETED, u"MSMQ", "Orders", [&] { receive(receiver, In(), -1); });
  EXPECT_EQ(deleter.wait(), 0);
  EXPECT_EQ(errorNumber([&] { send(sender, "x"); }), MQ_ERROR_QUEUE_DELETED);
  EXPECT_EQ(errorNumber([&] { commit(work); }), MQ_ERROR_QUEUE_DELETED);
  abort(work);
  createQueue(orders);
  EXPECT_EQ(bodies(ordersFormat), Texts{});
  EXPECT_EQ(errorNumber([&] { receive(receiver); }), MQ_ERROR_QUEUE_DELETED);
}

TEST(QueueService, KeepsAFileForEachQueue) {
  const Installation home;
  createQueue(orders);
  createQueue(u".\\Plain", Transactional::No);
  const auto lqs = home.file("msmq/storage/lqs");
  std::set<std::string> contents;
  const auto readAll = [&] {
    contents.clear();
    for (const auto& entry : std::filesystem::directory_iterator(lqs)) {
      std::ifstream stream(entry.path(), std::ios::binary);
      contents.emplace(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    }
    return contents.size();
  };
  ASSERT_EQ(readAll(), 2u);
  EXPECT_NE(contents.begin()->find("QueueName=Plain\r\n"), std::string::npos) << *contents.begin();
  EXPECT_NE(contents.rbegin()->find("[Properties]\r\nSystemQueue=00\r\nQueueName=\\private$\\Orders\r\n"),
            std::string::npos)
      << *contents.rbegin();
  EXPECT_NE(home.read("registry.toml").find("msmq/storage"), std::string::npos);
  call<&IMSMQQueueInfo::raw_Delete>(infoOf(u".\\Plain"));
  EXPECT_EQ(readAll(), 1u);
  // A process that died between the store and the file: the next one mends it.
  std::filesystem::remove_all(lqs);
  std::filesystem::create_directory(lqs);
  std::ofstream(lqs / "0000abcd") << "[Properties]\r\nleft over";
  std::ofstream(lqs / "deadbeef") << "somebody else's";
  EXPECT_TRUE(open(orders, MQ_PEEK_ACCESS));
  std::filesystem::remove(lqs / "deadbeef");
  ASSERT_EQ(readAll(), 1u);
  EXPECT_NE(contents.begin()->find("Orders"), std::string::npos);
}

}  // namespace
