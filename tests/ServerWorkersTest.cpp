// Workers on a database server, stores of the version before, and stores that somebody else has made.
#include "Expect.h"
#include "Processes.h"
#include "Stores.h"

#include <CorvaneQueue/Worker.h>
#include <gmock/gmock.h>
#include <fstream>

namespace {

using namespace stores;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ServerWorkers : public ::testing::Test {
 protected:
  static Queue open() { return openQueue(Store::PostgreSql, "Orders"); }
  // Its answer lies in a file of the installation.
  std::string sql(const std::string& text) {
    std::ofstream(home.file("sql")) << text;
    const std::string command = "psql -qtA -v ON_ERROR_STOP=1 -h " DATABASE_SERVER " -U corvane -f " +
                                home.file("sql").string() + " -o " + home.file("answer").string() + " " +
                                lastDatabase;
    EXPECT_EQ(std::system(command.c_str()), 0) << text;
    return home.read("answer");
  }
  bool isIdle() { return sql("SELECT count(*) FROM dbo.\"mdqIdle\"") == "1\n"; }
  Installation home{settingsOf(Store::PostgreSql)};
};

// It looks once an hour, so that what it takes it has been told of: also of what was being sent, in a
// transaction, when it ran out of work, and after the server has lost its connections.
TEST_F(ServerWorkers, AreToldOfWhatComesInAndAskOtherwiseSeldom) {
  open()->SendDocument("first");
  const pid_t worker = inProcess([&] {
    std::stop_source stop;
    Worker("Orders",
           [&](const WorkerDocument& document) {
             if (document.Body == u"last") stop.request_stop();
           },
           {.longestLook = 1h})
        .run(stop.get_token());
  });
  const auto untilIdle = [&] {
    while (!isIdle()) usleep(10'000);
    sleep(1);  // it looks more and more seldom
  };
  const auto untilTaken = [](std::size_t count) {
    while (journaled("Orders").size() < count) usleep(10'000);
  };
  untilTaken(1);
  untilIdle();
  auto slow = open();
  slow->BeginTransaction();
  slow->SendDocument("third");
  open()->SendDocument("second");
  untilTaken(2);
  untilIdle();
  slow->Commit();
  untilTaken(3);
  untilIdle();
  sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE backend_type = 'client backend'"
      " AND pid <> pg_backend_pid()");
  sleep(3);
  untilIdle();
  create<Utility>()->CreateQueue("Other");
  openQueue(Store::PostgreSql, "Other")->SendDocument("last");
  create<Operations>()->Move("Other", false, "Orders");
  EXPECT_TRUE(succeeded(worker));
  EXPECT_THAT(journaled("Orders"), testing::UnorderedElementsAre("first", "third", "second", "last"));
}

TEST_F(ServerWorkers, GiveUpWhatTheyFailOver) {
  for (const char* text : {"good", "bad", "deadly", "best", "wordy"}) open()->SendDocument(text);
  const auto work = [] {
    Worker("Orders",
           [](const WorkerDocument& document) {
             if (document.Body == u"deadly") _exit(9);
             if (document.Body == u"bad") throw std::runtime_error("no such customer");
             if (document.Body == u"wordy") throw std::runtime_error(std::string(20'000, 'w'));
           },
           {.attempts = 2, .pause = 1ms})
        .runUntilEmpty();
  };
  int deaths = 0;
  while (!succeeded(inProcess(work))) ASSERT_LT(++deaths, 5);
  EXPECT_EQ(deaths, 2);
  EXPECT_THAT(journaled("Orders"), ElementsAre("good", "best"));
  const auto failed = create<Operations>()->Search("Orders.failed");
  ASSERT_TRUE(failed->NextPage());
  EXPECT_EQ(failed->Item(1)->Failure(), u"no such customer");
  EXPECT_EQ(failed->Item(2)->Body(), u"deadly");
  EXPECT_TRUE(failed->Item(3)->Failure().view().starts_with(u"wwww"));
}

TEST_F(ServerWorkers, StoresOfTheVersionBeforeAreBroughtUpToDate) {
  const auto all = toUtf8(serverStoreScript({}, ServerStoreScript::Install));
  const auto later = toUtf8(serverStoreScript({}, ServerStoreScript::Upgrade));
  sql("SET client_min_messages = error; DROP SCHEMA dbo CASCADE;" + all.substr(0, all.size() - later.size()) +
      "INSERT INTO dbo.\"mdqMessageType\" VALUES (1, 'idoc', 'Orders');"
      "INSERT INTO dbo.\"mdqDocument\" (\"MessageTypeID\", \"CreateTimestamp\", \"Description\", \"Body\")"
      "  VALUES (1, now(), '', 'waits'), (1, now(), '', 'taken');"
      "INSERT INTO dbo.\"mdqWaiting\" VALUES (1, 1); INSERT INTO dbo.\"mdqAcknowledged\" VALUES (1, 2);");
  EXPECT_THAT(checkServerStore(), testing::Contains(testing::ResultOf(
                                      [](const String& finding) { return toUtf8(finding); },
                                      testing::HasSubstr("mdqDocument.SenderKey, mdqEndAttempts"))));
  for (int i = 0; i < 2; ++i) installServerStore(ServerStoreScript::Upgrade);  // again does no harm
  EXPECT_THAT(checkServerStore(), IsEmpty());
  open()->SendDocument("new");
  EXPECT_THAT(waiting("Orders"), ElementsAre("waits", "new"));
  Worker("Orders", [](const WorkerDocument&) {}).runUntilEmpty();
  EXPECT_THAT(journaled("Orders"), testing::UnorderedElementsAre("waits", "taken", "new"));
}

// The six procedures and three tables alone, with other types that do as well; and with some that do not.
TEST_F(ServerWorkers, StoresThatSomebodyElseHasMadeDo) {
  sql(R"(
    ALTER SCHEMA dbo RENAME TO theirs;
    CREATE SCHEMA dbo;
    CREATE TABLE dbo."mdqMessageType" ("MessageTypeID" smallserial, "Name" text, "Queue" text);
    CREATE TABLE dbo."mdqMessage" ("MessageID" bigserial, "Description" text, "CreateTimestamp" timestamptz,
                                   "Body" text, "MessageTypeID" int, "AckReceive" int DEFAULT 0);
    CREATE TABLE dbo."mdqMessageAck" (LIKE dbo."mdqMessage");
    CREATE FUNCTION dbo."mdqCreateMessageType"(varchar, varchar) RETURNS smallint LANGUAGE sql AS
      'INSERT INTO dbo."mdqMessageType" ("Name", "Queue") VALUES ($1, $2) RETURNING "MessageTypeID"';
    CREATE FUNCTION dbo."mdqCreateMessage"(text, text, text, timestamptz, text) RETURNS bigint LANGUAGE sql AS
      'INSERT INTO dbo."mdqMessage" ("Description", "CreateTimestamp", "Body", "MessageTypeID")
        SELECT $3, $4, $5, "MessageTypeID" FROM dbo."mdqMessageType" WHERE "Queue" = $2 RETURNING "MessageID"';
    CREATE FUNCTION dbo."mdqGetMessagesTrans"(text, bigint, timestamptz)
      RETURNS TABLE (a bigint, b text, c timestamptz, d text, e text) LANGUAGE sql AS
      'SELECT "MessageID", "Description", "CreateTimestamp", "Name", "Body"
         FROM dbo."mdqMessage" m JOIN dbo."mdqMessageType" t ON t."MessageTypeID" = m."MessageTypeID"
        WHERE "Queue" = $1 ORDER BY 1';
    CREATE FUNCTION dbo."mdqAckReceive"(bigint, integer) RETURNS void LANGUAGE sql AS
      'WITH gone AS (DELETE FROM dbo."mdqMessage" WHERE "MessageID" = $1 RETURNING *)
       INSERT INTO dbo."mdqMessageAck" SELECT * FROM gone';
    CREATE FUNCTION dbo."mdqDeleteActiveQueueMessagesOlderThan"(text, integer) RETURNS void LANGUAGE sql AS
      'DELETE FROM dbo."mdqMessage"';
    CREATE FUNCTION dbo."mdqDeleteAckQueueMessagesOlderThan"(text, integer) RETURNS void LANGUAGE sql AS '';
  )");
  EXPECT_THAT(checkServerStore(), IsEmpty());
  create<Utility>()->CreateQueue("Orders");
  auto queue = open();
  for (const char* text : {"one", "two"}) queue->SendDocument(text);
  queue->AcknowledgeMessage(queue->ReceiveNext());
  EXPECT_THAT(waiting("Orders"), ElementsAre("two"));
  EXPECT_THAT(journaled("Orders"), ElementsAre("one"));
  expectError(static_cast<std::int32_t>(0x80040E14u), nullptr, "corvaneq database upgrade",
              [] { Worker("Orders", [](const WorkerDocument&) {}).runUntilEmpty(); });
  sql(R"(
    DROP FUNCTION dbo."mdqAckReceive"(bigint, integer);
    CREATE FUNCTION dbo."mdqAckReceive"(integer, smallint) RETURNS void LANGUAGE sql AS '';
    DROP FUNCTION dbo."mdqCreateMessage"(text, text, text, timestamptz, text);
    CREATE FUNCTION dbo."mdqCreateMessage"(text, text, text, timestamptz, text) RETURNS text LANGUAGE sql AS 'SELECT $1';
  )");
  EXPECT_THAT(
      checkServerStore(),
      testing::UnorderedElementsAre(
          String(u"The procedure dbo.\"mdqAckReceive\" takes (integer, smallint), and it is given (bigint, "
                 u"smallint)."),
          String(u"The procedure dbo.\"mdqCreateMessage\" returns other columns than the identifier.")));
}

}  // namespace
