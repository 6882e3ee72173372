// The message store as a file: its schema, damage, and transactions between sessions.
#include "Database.h"
#include "DbQueue.h"
#include "DbQueues.h"
#include "EmbeddedPlatform.h"
#include "Expect.h"
#include "Installation.h"
#include "JournalRule.h"
#include "Processes.h"
#include "SqliteStore.h"

#include <gmock/gmock.h>

namespace CorvaneQueue {

namespace {

using platform_layer::Database;
using ::testing::HasSubstr;

class StoreFile : public ::testing::Test {
 protected:
  Ref<DbQueue> queue(const char16_t* name = u"Orders") {
    const auto made = make<DbQueue>();
    made->Initialize(String(name), false);
    return made;
  }
  static void send(const Ref<DbQueue>& queue, std::u16string_view text) { queue->SendDocument(String(text)); }
  static std::string next(const Ref<DbQueue>& queue) {
    const auto message = queue->ReceiveNext();
    return message ? toUtf8(message->bodyText()) : "";
  }
  static std::int32_t count(const Ref<DbQueue>& queue) {
    queue->Messages()->Refresh();
    return queue->Messages()->Count();
  }
  std::filesystem::path file() const { return home.file("messages.db"); }
  void writeFile(const std::string& content) const {
    for (const char* tail : {"-wal", "-shm", "-journal"}) std::filesystem::remove(file().string() + tail);
    std::ofstream(file(), std::ios::binary) << content;
  }

  static constexpr auto limit = std::chrono::seconds(1);
  static constexpr auto timedOut = static_cast<std::int32_t>(0x80040E31u);
  std::span<const std::string_view> migrations = store::sqliteStore().migrations;
  Installation home;
  platform_layer::EmbeddedPlatform embedded{store::sqliteStore()};
  ScopedPlatform door{embedded.door()};
};

TEST_F(StoreFile, AndItsEngineAreThoseOfTheSettings) {
  home.writeSettings("[Platform.MessageStore]\nFile = \"other.db\"\n");
  send(queue(), u"x");
  EXPECT_TRUE(exists(home.file("other.db")) && !exists(file()));
  home.writeSettings("[Platform]\nMessageStore = \"third.db\"\n");
  send(queue(), u"x");
  EXPECT_TRUE(exists(home.file("third.db")));
  home.writeSettings("[Platform.MessageStore]\nEngine = \"none\"\n");
  expectError(5, nullptr, "is \"none\"; known are \"embedded\", \"postgresql\", \"sqlserver\"",
              [&] { send(queue(), u"x"); });
}

// The journal is in the order of identifiers, not of acknowledgements.
TEST_F(StoreFile, AgeRulesReachOldDocumentsBehindYoungOnes) {
  constexpr int young = 700;
  constexpr int all = 1800;
  const auto orders = queue();
  orders->BeginTransaction();
  for (int i = 0; i < all; ++i) send(orders, u"x");
  orders->Commit();
  Database store(file(), migrations);
  store.write(Database::Purpose::Frees, limit, [&] {
    store.execute(
        "INSERT INTO dbo.mdqAcknowledged (MessageTypeID, MessageID, Length, AckTimestamp)"
        " SELECT MessageTypeID, MessageID, Length,"
        " CASE WHEN MessageID > ?1 THEN '2020-01-01 00:00:00' ELSE datetime('now') END FROM dbo.mdqWaiting",
        young);
    store.execute("DELETE FROM dbo.mdqWaiting");
  });
  JournalBounds{3600, -1, -1}.writeFor(u"Orders");
  JournalKeeper keeper;
  for (int looks = 0; looks < 6; ++looks) keeper.look(u"Orders");
  auto left = store.prepare("SELECT count(*), max(MessageID) FROM dbo.mdqAcknowledged");
  ASSERT_TRUE(left.step());
  EXPECT_EQ(left.integer(0), young);
  EXPECT_EQ(left.integer(1), young);
}

TEST_F(StoreFile, RefusesANewerSchemaADamagedFileAndOtherDatabases) {
  Database(file(), migrations).execute("PRAGMA dbo.user_version = 77");
  expectError(E_FAIL, u"SendDocument", "schema version 77, and this library knows 5",
              [&] { send(queue(), u"x"); });
  writeFile(std::string(10000, 'x'));
  expectError(E_FAIL, nullptr, "is not a message store", [&] { send(queue(), u"x"); });
  writeFile("");
  constexpr std::string_view foreign[] = {"CREATE TABLE dbo.theirs (x)"};
  Database(file(), foreign).execute("PRAGMA dbo.user_version = 0");
  expectError(E_FAIL, nullptr, "some other program", [&] { send(queue(), u"x"); });
  EXPECT_TRUE(std::filesystem::exists(file()));
}

TEST_F(StoreFile, ReportsDamageInsteadOfWrongDocuments) {
  {
    const auto orders = queue();
    for (int i = 0; i < 200; ++i) send(orders, std::u16string(500, u'a'));
    Database(file(), migrations).execute("PRAGMA dbo.wal_checkpoint(TRUNCATE)");
  }
  std::string content = home.read("messages.db");
  for (std::size_t page = 8192; page < content.size(); page += 4096) content.replace(page, 16, 16, '\xFF');
  writeFile(content);
  expectError(E_FAIL, nullptr, "damaged", [&] { count(queue()); });
}

TEST_F(StoreFile, TransactionsKeepTheirWorkToThemselves) {
  const auto one = queue();
  const auto two = queue();
  one->BeginTransaction();
  send(one, u"inside");
  EXPECT_EQ(next(one), "inside");
  EXPECT_EQ(next(two), "");
  expectError(timedOut, u"SendDocument", "another queue object of this thread",
              [&] { send(two, u"waits in vain"); });
  one->Abort();
  EXPECT_TRUE(one->IsEmpty());
  send(two, u"outside");

  // Purging nests: it is part of the client's transaction.
  one->BeginTransaction();
  one->Purge();
  EXPECT_TRUE(one->IsEmpty());
  one->Abort();
  EXPECT_EQ(next(one), "outside");
  // A statement that fails inside a transaction leaves the rest of it alone.
  one->BeginTransaction();
  send(one, u"kept");
  EXPECT_NE(errorNumber([&] { one->AcknowledgeDocument(String(u"12345")); }), 0);
  one->Commit();
  EXPECT_EQ(count(two), 2);
  // Made another queue's: nothing of it stays either, and its list is that queue's.
  one->BeginTransaction();
  send(one, u"gone");
  one->Initialize(String(u"Other"), false);
  one->Commit();
  send(one, u"there");
  EXPECT_EQ(count(one), 1);
  EXPECT_EQ(count(two), 2);
}

TEST_F(StoreFile, AReceiveInATransactionHoldsItsDocumentAndStopsNobody) {
  {
    const auto orders = queue();
    for (const char16_t* text : {u"first", u"second", u"third"}) send(orders, text);
  }
  const pid_t holder = inProcess([&] {
    const auto orders = queue();
    orders->BeginTransaction();
    if (next(orders) == "first") raise(SIGSTOP);
  });
  ASSERT_TRUE(hasStopped(holder));
  const auto orders = queue();
  const auto archive = queue(u"Archive");
  EXPECT_EQ(next(orders), "second");
  orders->BeginTransaction();
  const auto second = orders->ReceiveNext();
  EXPECT_EQ(next(orders), "second");  // its own is not skipped
  send(archive, u"second");           // what is received is sent on before it is acknowledged
  orders->AcknowledgeMessage(*second);
  expectError(timedOut, u"SendDocument", "then acknowledge and commit", [&] { send(archive, u"in vain"); });
  EXPECT_EQ(next(orders), "third");
  orders->Commit();
  EXPECT_EQ(count(orders), 2);
  orders->Purge();  // leaves what is being processed
  EXPECT_EQ(next(orders), "");
  EXPECT_EQ(count(orders), 1);
  killed(holder);
  EXPECT_EQ(next(orders), "first");
}

TEST_F(StoreFile, WhoWaitsForAStoppedWriterInVainIsToldItsName) {
  const pid_t writer = inProcess([&] {
    Database store(file(), migrations);
    store.begin(Database::Purpose::Stores, limit);
    raise(SIGSTOP);
    store.commit();
  });
  ASSERT_TRUE(hasStopped(writer));
  Database store(file(), migrations);
  const auto error = errorOf([&] { store.begin(Database::Purpose::Stores, limit); });
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(), HasSubstr("process " + std::to_string(writer) + " has been writing since"));
  kill(writer, SIGCONT);
  EXPECT_TRUE(succeeded(writer));
  store.begin(Database::Purpose::Stores, limit);
  store.rollback();
}

TEST_F(StoreFile, ADamagedDocumentIsListedButItsBodyIsNotHandedOut) {
  {
    const auto orders = queue();
    for (const char16_t* text : {u"whole", u"to be damaged", u"whole too"}) send(orders, text);
  }
  std::string content = home.read("messages.db");
  const auto at = content.find("to be damaged");
  ASSERT_NE(at, std::string::npos);
  content[at] = 'T';
  writeFile(content);
  const auto orders = queue();
  EXPECT_EQ(count(orders), 3);
  const auto damaged = orders->Messages()->Item(Variant(std::int32_t{2}).get());
  expectError(E_FAIL, nullptr, "document 2 is damaged", [&] { damaged->Body(); });
  const auto report = embedded.check(u"db", StoreCheck::Thorough);
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_THAT(toUtf8(report.findings[0]), HasSubstr("document 2"));
  orders->AcknowledgeDocument(String(u"1"));
  expectError(E_FAIL, u"ReceiveNext", "delete the document", [&] { next(orders); });
  orders->AcknowledgeMessage(*damaged);
  EXPECT_EQ(next(orders), "whole too");
}

TEST_F(StoreFile, AForkedProcessDoesNotTouchItsParentsSession) {
  const auto orders = queue();
  orders->BeginTransaction();
  send(orders, u"parent");
  EXPECT_TRUE(succeeded(inProcess([&] {
    const auto expectRefusal = [](const char* part, auto&& body) {
      const auto error = errorOf(body);
      if (!error || std::string(error->what()).find(part) == std::string::npos)
        throw std::runtime_error(error ? error->what() : std::string("not refused as ") + part);
    };
    expectRefusal("lost", [&] { send(orders, u"child"); });
    expectRefusal("forked", [&] { send(queue(), u"child"); });
  })));
  orders->Commit();
  EXPECT_EQ(count(orders), 1);
}

TEST_F(StoreFile, ManyProcessesMayBeTheFirst) {
  for (int round = 0; round < 10; ++round) {
    for (const char* tail : {"", "-wal", "-shm"}) std::filesystem::remove(file().string() + tail);
    pid_t children[6];
    for (pid_t& child : children) child = inProcess([&] { send(queue(), u"first"); });
    for (const pid_t child : children) EXPECT_TRUE(succeeded(child));
    EXPECT_EQ(count(queue()), 6);
  }
}

TEST_F(StoreFile, RowsOfOtherMessageTypesAreInvisible) {
  Database(file(), migrations)
      .execute("INSERT INTO dbo.mdqMessageType (Name, Queue) VALUES ('other', 'Hidden')");
  const auto queues = make<DbQueues>();
  queues->Refresh();
  EXPECT_EQ(queues->Count(), 0);
  EXPECT_FALSE(queues->Exists(String(u"Hidden")));
  queues->Add(String(u"Hidden"));
  EXPECT_TRUE(queues->Exists(String(u"hidden")));
}

}  // namespace

}  // namespace CorvaneQueue
