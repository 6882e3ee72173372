// The message store on a database server: what servers cannot carry, and connections that are cut.
#include "CuttingProxy.h"
#include "Expect.h"
#include "Processes.h"
#include "Stores.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <set>

namespace {

using namespace stores;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ServerStore : public ::testing::Test {
 protected:
  static Queue open() { return openQueue(Store::PostgreSql, "Orders"); }
  static void sql(const std::string& text) {
    const std::string command =
        "psql -qtA -o /dev/null -h " DATABASE_SERVER " -U corvane -c '" + text + "' " + lastDatabase;
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  Installation home{settingsOf(Store::PostgreSql)};
};

TEST_F(ServerStore, RefusesWhatServersCannotCarryAndKeepsTheRest) {
  auto queue = open();
  const std::u16string kept = u"\x01\t\r\n'\\?{}[x] €\xD83D\xDE00\xFFFF ";
  queue->Object(u"O'Brien \\ {?}");
  queue->SendDocument(kept);
  const auto message = browsed("Orders")->Item(1);
  EXPECT_EQ(message->Body().view(), kept);
  EXPECT_EQ(message->Label(), u"Object: <O'Brien \\ {?}> ");
  expectError(ErrorNumber::InvalidArgument, u"SendDocument", "\"Body\" has U+0000 at position 2", [&] {
    queue->SendDocument(std::u16string{u'a', 0});
  });
  expectError(ErrorNumber::InvalidArgument, nullptr, "U+D800 at position 1, half of a surrogate pair", [&] {
    queue->SendDocument(std::u16string{0xD800, u'a'});
  });
  queue->MsgID(std::u16string(300, u'x'));
  expectError(ErrorNumber::InvalidArgument, nullptr, "too long", [&] { queue->SendDocument("x"); });
  expectError(ErrorNumber::InvalidArgument, nullptr, "identifier 4711",
              [&] { queue->AcknowledgeDocument("4711"); });
  sql("DROP VIEW dbo.\"mdqMessage\"");
  expectError(static_cast<std::int32_t>(0x80040E14u), nullptr, "corvaneq database check",
              [&] { queue->IsEmpty(); });
  EXPECT_THAT(checkServerStore(), ElementsAre(String(u"The table or view dbo.\"mdqMessage\" is missing.")));
}

// Whatever is in the way of one statement of a client's transaction, the others stand.
TEST_F(ServerStore, AFailedStatementLeavesTheTransactionAsItWas) {
  auto queue = open();
  queue->BeginTransaction();
  queue->SendDocument("before");
  expectError(ErrorNumber::InvalidArgument, nullptr, "", [&] { queue->AcknowledgeDocument("4711"); });
  queue->SendDocument("after");
  queue->Commit();
  EXPECT_THAT(waiting("Orders"), ElementsAre("before", "after"));
}

// A server that says at the worst moment that its disk is full, and has room again.
TEST_F(ServerStore, GoesOnWhenTheServerWasFull) {
  auto queue = open();
  queue->SendDocument("first");
  sql("CREATE FUNCTION dbo.full_disk() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN RAISE EXCEPTION"
      " $t$could not extend file: No space left on device$t$ USING ERRCODE = $t$53100$t$; END$$;"
      " CREATE TRIGGER full_disk BEFORE INSERT ON dbo.\"mdqWaiting\" FOR EACH ROW EXECUTE FUNCTION dbo.full_disk()");
  expectError(E_FAIL, nullptr, "disk is full; nothing was stored", [&] { queue->SendDocument("lost"); });
  queue->BeginTransaction();
  queue->AcknowledgeMessage(queue->ReceiveNext());
  expectError(E_FAIL, nullptr, "disk is full; nothing was stored", [&] { queue->SendDocument("lost"); });
  queue->Commit();
  sql("DROP TRIGGER full_disk ON dbo.\"mdqWaiting\"");
  queue->SendDocument("second");
  EXPECT_THAT(waiting("Orders"), ElementsAre("second"));
  EXPECT_THAT(journaled("Orders"), ElementsAre("first"));
}

TEST_F(ServerStore, HasReceiversThatPassOverWhatOthersHold) {
  auto sender = open();
  for (const char* text : {"one", "two"}) sender->SendDocument(text);
  auto first = open();
  auto second = open();
  first->BeginTransaction();
  second->BeginTransaction();
  EXPECT_EQ(first->ReceiveNext()->Body(), u"one");
  EXPECT_EQ(second->ReceiveNext()->Body(), u"two");
  EXPECT_EQ(waiting("Orders").size(), 2u);  // a listing neither waits nor leaves out
  sender->Purge();                          // what is held stays
  first->Abort();
  EXPECT_EQ(sender->ReceiveNext()->Body(), u"one");
}

// Work through a proxy that cuts the connection at each round trip: what was reported is what has happened.
// More than come at a time, exactly twice as many, and a body that does not fit into a piece.
TEST_F(ServerStore, ListsHoweverManyThereAre) {
  const auto queue = open();
  const auto bodyOf = [](int i) {
    return u"\x20AC" + std::u16string(i == 399 ? 100'000 : 300, static_cast<char16_t>(u'a' + i % 26));
  };
  const auto fill = [&](int from, int to) {
    queue->BeginTransaction();
    for (int i = from; i < to; ++i) queue->SendDocument(bodyOf(i));
    queue->Commit();
  };
  const auto mustBeThere = [&](const Messages& messages, int count) {
    messages->Refresh();
    ASSERT_EQ(messages->Count(), count);
    for (int i = 0; i < count; ++i) EXPECT_EQ(messages->Item(i + 1)->Body(), bodyOf(i)) << i;
  };
  fill(0, 400);
  const auto listed = create<Queues>()->Item("Orders");
  mustBeThere(listed->Messages(), 400);
  fill(400, 401);
  mustBeThere(listed->Messages(), 401);
  queue->BeginTransaction();
  for (int i = 0; i < 401; ++i) queue->AcknowledgeMessage(queue->ReceiveNext());
  queue->Commit();
  mustBeThere(listed->Messages(), 0);
  mustBeThere(listed->Journal()->Messages(), 401);
}

TEST_F(ServerStore, TellsWhatHasHappenedWhereverTheConnectionIsCut) {
  const std::filesystem::path directory = home.directory();
  CuttingProxy proxy(directory, DATABASE_SERVER);
  struct Work {
    bool isTransaction;  // of a client: what else is cut before its commit is done once more
    std::function<void(const Queue&)> run;
    Texts result;
  };
  Texts many;
  for (int i = 0; i < 80; ++i) many.push_back("document " + std::to_string(i));
  const Work works[] = {
      {false, [](const Queue& queue) { queue->SendDocument("next"); }, {"first", "next"}},
      {false, [](const Queue& queue) { queue->AcknowledgeMessage(queue->ReceiveNext()); }, {}},
      {false, [](const Queue& queue) { queue->Purge(); }, {}},
      {false, [](const Queue& queue) { EXPECT_EQ(browsed(queue->Name())->Count(), 1); }, {"first"}},
      {false,
       [](const Queue&) {
         if (!create<Queues>()->Exists("Other")) create<Utility>()->CreateQueue("Other");
         EXPECT_EQ(create<Queues>()->Count() > 1, true);
       },
       {"first"}},
      {false, [](const Queue& queue) { create<Operations>()->Move(queue->Name(), false, "Other"); }, {}},
      {true,
       [&](const Queue& queue) {
         queue->BeginTransaction();
         queue->AcknowledgeMessage(queue->ReceiveNext());
         for (const std::string& text : many) queue->SendDocument(text);
         queue->Commit();
       },
       many},
  };
  int cuts = 0;
  for (const auto cut : {CuttingProxy::Cut::BeforeTheServer, CuttingProxy::Cut::BeforeTheAnswer})
    for (const Work& work : works)
      for (int roundTrip = 1; roundTrip > 0; ++roundTrip) {
        auto direct = open();
        for (direct->Purge(); !direct->IsEmpty(); direct->Purge())
          usleep(1000);  // a cut one may still hold it
        direct->SendDocument("first");
        home.writeSettings(settingsThrough(directory.string() + ";Port=5433"));
        const auto queue = open();
        queue->IsEmpty();  // connects
        proxy.cutAt(roundTrip, cut);
        const auto error = errorOf([&] { work.run(queue); });
        const bool hasCut = proxy.hasCut();
        proxy.cutAt(0, cut);
        home.writeSettings(settingsThrough(DATABASE_SERVER));
        SCOPED_TRACE(testing::Message() << "work " << (&work - works) << ", round trip " << roundTrip << ", "
                                        << (error ? error->what() : "done"));
        const Texts after = waiting("Orders");
        const bool isDone = after == work.result;
        const bool isUndone = after == Texts{"first"};
        const bool isUnknown = error && error->number() == static_cast<std::int32_t>(0x8004D016u);
        EXPECT_TRUE(isUnknown ? isDone || isUndone : error ? isUndone : isDone);
        EXPECT_FALSE(error && &work == works);  // a document alone is asked about by its key
        EXPECT_TRUE(!error || (hasCut && (isUnknown || work.isTransaction)));
        cuts += hasCut ? 1 : 0;
        if (!hasCut) roundTrip = -1;
      }
  EXPECT_GT(cuts, 200);
}

// Clients and the server's processes are killed, and the server starts anew, while documents travel.
TEST_F(ServerStore, LosesAndDoublesNothingWhateverDies) {
  constexpr int senders = 4;
  constexpr int workers = senders + 8;
  const auto ledger = home.file("ledger");
  const auto tell = [&](const std::string& line) {
    const int file = ::open(ledger.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    if (write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size())) _exit(2);
    close(file);
  };
  int lives = 0;
  const auto start = [&](int worker) {
    const std::string life = std::to_string(lives++);
    return inProcess([&] {
      for (int i = 0;; ++i) try {
          auto queue = open();
          for (;; ++i) {
            const std::string name = life + "-" + std::to_string(i);
            if (worker < senders) {
              queue->SendDocument(name);
              tell("sent " + name + "\n");
              usleep(1000);
              continue;
            }
            queue->BeginTransaction();
            const auto message = queue->ReceiveNext();
            if (message) queue->AcknowledgeMessage(message);
            queue->Commit();
            if (message) tell("taken " + toUtf8(message->Body()) + "\n");
          }
        } catch (const Error&) {
          usleep(20'000);
        }
    });
  };
  struct Crew : std::vector<pid_t> {
    ~Crew() { stop(); }
    void stop() {
      for (const pid_t each : *this) killed(each);
      clear();
    }
  } crew;
  for (int worker = 0; worker < workers; ++worker) crew.push_back(start(worker));
  const char* const given = std::getenv("CORVANE_SOAK");  // seconds
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::seconds(given == nullptr ? 10 : std::atoi(given));
  for (int turn = 0; std::chrono::steady_clock::now() < end; ++turn) {
    usleep(static_cast<useconds_t>(random() % 200'000));
    const auto victim = static_cast<std::size_t>(random() % workers);
    if (turn % 20 == 10) {
      ASSERT_EQ(std::system(SERVER_CONTROL " restart " DATABASE_SERVER), 0);
    } else if (turn % 2 == 0) {
      killed(crew[victim]);
      crew[victim] = start(static_cast<int>(victim));
    } else {
      sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid <> pg_backend_pid()"
          " AND backend_type = $$client backend$$ AND random() < 0.3");
    }
  }
  crew.stop();
  std::set<std::string> sent;
  std::set<std::string> taken;
  std::ifstream lines(ledger);
  for (std::string what, name; lines >> what >> name;)
    EXPECT_TRUE((what == "sent" ? sent : taken).insert(name).second) << name << " twice";
  std::set<std::string> stored;
  for (const Texts& texts : {waiting("Orders"), journaled("Orders")})
    for (const std::string& name : texts) EXPECT_TRUE(stored.insert(name).second) << name << " is doubled";
  for (const std::string& name : sent) EXPECT_TRUE(stored.contains(name)) << name << " is lost";
  EXPECT_GT(taken.size(), 100u);
}

}  // namespace
