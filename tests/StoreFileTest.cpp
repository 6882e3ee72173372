// The message store as a file: its schema, damage, a full disk, and transactions between sessions.
#include "Database.h"
#include "DbQueue.h"
#include "DbQueues.h"
#include "EmbeddedPlatform.h"
#include "Expect.h"
#include "Installation.h"
#include "SqliteStore.h"

#include <gmock/gmock.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

namespace CorvaneQueue {

namespace {

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
  std::filesystem::path file() const { return home.file("messages.db"); }
  static std::int32_t count(const Ref<DbQueue>& queue) {
    queue->Messages()->Refresh();
    return queue->Messages()->Count();
  }

  Installation home;
  platform_layer::EmbeddedPlatform embedded{store::sqliteStore()};
  ScopedPlatform door{embedded.door()};
};

TEST_F(StoreFile, RefusesANewerSchemaADamagedFileAndOtherDatabases) {
  {
    platform_layer::Database newer(file(), store::sqliteStore().migrations);
    newer.execute("PRAGMA dbo.user_version = 77");
  }
  expectError(E_FAIL, u"SendDocument", "schema version 77, and this library knows 2",
              [&] { send(queue(), u"x"); });
  const auto writeFile = [&](const std::string& content) {
    for (const char* tail : {"", "-wal", "-shm"}) std::filesystem::remove(file().string() + tail);
    std::ofstream(file(), std::ios::binary) << content;
  };
  writeFile(std::string(10000, 'x'));
  expectError(E_FAIL, nullptr, "is not a message store", [&] { send(queue(), u"x"); });
  {
    writeFile("");
    constexpr std::string_view foreign[] = {"CREATE TABLE dbo.theirs (x)"};
    platform_layer::Database theirs(file(), foreign);
    theirs.execute("PRAGMA dbo.user_version = 0");
  }
  expectError(E_FAIL, nullptr, "some other program", [&] { send(queue(), u"x"); });
  EXPECT_TRUE(std::filesystem::exists(file()));
}

TEST_F(StoreFile, ReportsDamageInsteadOfWrongDocuments) {
  {
    const auto orders = queue();
    for (int i = 0; i < 200; ++i) send(orders, std::u16string(500, u'a'));
    platform_layer::Database checkpoint(file(), store::sqliteStore().migrations);
    checkpoint.execute("PRAGMA dbo.wal_checkpoint(TRUNCATE)");
  }
  std::filesystem::remove(home.file("messages.db-wal"));
  const auto size = std::filesystem::file_size(file());
  {
    std::fstream stream(file(), std::ios::in | std::ios::out | std::ios::binary);
    for (std::uintmax_t page = 8192; page < size; page += 4096) {
      stream.seekp(static_cast<std::streamoff>(page));
      stream << std::string(16, '\xFF');
    }
  }
  expectError(E_FAIL, nullptr, "damaged", [&] {
    const auto orders = queue();
    orders->Messages()->Refresh();
  });
}

TEST_F(StoreFile, AFailedWriteStoresNothingAndTheStoreStaysSound) {
  const pid_t child = fork();
  if (child == 0) {  // the file size limit stands for a full disk
    std::signal(SIGXFSZ, SIG_IGN);
    const auto writer = queue();
    send(writer, u"before");
    const rlimit limit{1 << 20, 1 << 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    int sent = 1;
    const auto error = errorOf([&] {
      for (; sent < 1000; ++sent) send(writer, std::u16string(20000, u'x'));
    });
    const bool stillThere = count(writer) == sent;
    // A client's transaction that cannot be committed is over, and says so.
    writer->BeginTransaction();
    const auto again = errorOf([&] {
      send(writer, std::u16string(2000000, u'y'));
      writer->Commit();
    });
    writer->Abort();
    _exit(error && error->number() == E_FAIL && sent > 1 && stillThere && again && count(writer) == sent ? 0
                                                                                                         : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  const auto orders = queue();
  EXPECT_GT(count(orders), 1);
  EXPECT_EQ(next(orders), "before");
  send(orders, u"after");
}

TEST_F(StoreFile, ThatCannotBeWrittenCanStillBeBrowsed) {
  send(queue(), u"there");  // and is closed again
  const auto readOnly = [&] {
    const auto reader = queue();
    const auto error = errorOf([&] { send(reader, u"refused"); });
    return error && std::string(error->what()).find("cannot be written") != std::string::npos &&
           count(reader) == 1;
  };
  if (geteuid() != 0) {
    std::filesystem::permissions(file(), std::filesystem::perms::owner_read);
    std::filesystem::permissions(home.file("messages.db-lock"), std::filesystem::perms::owner_read);
    EXPECT_TRUE(readOnly());
    return;
  }
  // Permissions do not hold the superuser: somebody else tries.
  for (const auto& entry : std::filesystem::directory_iterator(home.directory()))
    std::filesystem::permissions(entry, std::filesystem::perms::all & ~std::filesystem::perms::others_write &
                                            ~std::filesystem::perms::group_write);
  std::filesystem::permissions(home.directory(), static_cast<std::filesystem::perms>(0755));
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t nobody = 65534;
    const bool changed = setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0;
    _exit(changed && readOnly() ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(StoreFile, TransactionsKeepTheirWorkToThemselves) {
  const auto one = queue();
  const auto two = queue();
  one->BeginTransaction();
  send(one, u"inside");
  EXPECT_EQ(next(one), "inside");
  EXPECT_EQ(next(two), "");
  expectError(static_cast<std::int32_t>(0x80040E31u), u"SendDocument", "another queue object of this thread",
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
  // Released without an end: nothing of it stays.
  {
    const auto lost = queue();
    lost->BeginTransaction();
    send(lost, u"lost");
  }
  EXPECT_EQ(count(two), 2);
}

TEST_F(StoreFile, AReceiveInATransactionHoldsItsDocumentAndStopsNobody) {
  {
    const auto orders = queue();
    for (const char16_t* text : {u"first", u"second", u"third"}) send(orders, text);
  }
  int held[2];
  ASSERT_EQ(pipe(held), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    const auto orders = queue();
    orders->BeginTransaction();
    const std::string received = next(orders);
    _exit(write(held[1], received.data(), 5) == 5 ? pause() : 1);
  }
  char text[6] = {};
  ASSERT_EQ(read(held[0], text, 5), 5);
  EXPECT_STREQ(text, "first");
  const auto orders = queue();
  const auto archive = queue(u"Archive");
  EXPECT_EQ(next(orders), "second");
  orders->BeginTransaction();
  const auto second = orders->ReceiveNext();
  EXPECT_EQ(next(orders), "second");  // its own is not skipped
  send(archive, u"second");           // what is received is sent on before it is acknowledged
  orders->AcknowledgeMessage(*second);
  expectError(static_cast<std::int32_t>(0x80040E31u), u"SendDocument", "then acknowledge and commit",
              [&] { send(archive, u"in vain"); });
  EXPECT_EQ(next(orders), "third");
  orders->Commit();
  EXPECT_EQ(count(orders), 2);
  orders->Purge();  // leaves what is being processed
  EXPECT_EQ(next(orders), "");
  EXPECT_EQ(count(orders), 1);
  kill(holder, SIGKILL);
  waitpid(holder, nullptr, 0);
  EXPECT_EQ(next(orders), "first");
}

TEST_F(StoreFile, WhoWaitsForAStoppedWriterInVainIsToldItsName) {
  using platform_layer::Database;
  constexpr auto limit = std::chrono::seconds(1);
  int begun[2];
  ASSERT_EQ(pipe(begun), 0);
  const pid_t writer = fork();
  if (writer == 0) {
    Database store(file(), store::sqliteStore().migrations);
    store.begin(Database::Purpose::Stores, limit);
    if (write(begun[1], "b", 1) != 1) _exit(1);
    raise(SIGSTOP);
    store.commit();
    _exit(0);
  }
  char signal = 0;
  ASSERT_EQ(read(begun[0], &signal, 1), 1);
  Database store(file(), store::sqliteStore().migrations);
  const auto error = errorOf([&] { store.begin(Database::Purpose::Stores, limit); });
  ASSERT_TRUE(error);
  EXPECT_THAT(error->what(),
              testing::HasSubstr("process " + std::to_string(writer) + " has been writing since"));
  int status = 0;
  ASSERT_EQ(waitpid(writer, &status, WUNTRACED), writer);
  kill(writer, SIGCONT);
  ASSERT_EQ(waitpid(writer, &status, 0), writer);
  EXPECT_EQ(status, 0);
  store.begin(Database::Purpose::Stores, limit);
  store.rollback();
}

// Written by the first version of the schema.
TEST_F(StoreFile, AnOlderStoreIsBroughtUpToDateWheneverThatIsKilled) {
  const auto definition = store::sqliteStore();
  std::string older;
  {
    platform_layer::Database store(file(), definition.migrations.first(1));
    store.write(platform_layer::Database::Purpose::Stores, {}, [&] {
      store.execute("INSERT INTO dbo.mdqMessageType VALUES (1, 'idoc', 'Orders')");
      store.execute(
          "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300)"
          " INSERT INTO dbo.mdqDocument SELECT i, 1, '2026-01-01 00:00:00', '', 'body ' || i FROM n");
      store.execute("INSERT INTO dbo.mdqWaiting SELECT 1, MessageID FROM dbo.mdqDocument");
    });
  }
  older = home.read("messages.db");
  for (int delay = 0; delay < 40; ++delay) {
    for (const char* tail : {"-wal", "-shm", "-journal"}) std::filesystem::remove(file().string() + tail);
    std::ofstream(file(), std::ios::binary | std::ios::trunc) << older;
    const pid_t child = fork();
    if (child == 0) {
      next(queue());
      _exit(0);
    }
    usleep(static_cast<useconds_t>(delay) * 300);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_EQ(count(queue()), 300) << "killed after " << delay * 300 << " us";
  }
  const auto orders = queue();
  const auto report = embedded.check(u"db", StoreCheck::Thorough);
  EXPECT_EQ(report.unchecked, 300);
  EXPECT_TRUE(report.findings.empty());
  orders->AcknowledgeDocument(String(u"1"));
  EXPECT_EQ(embedded.check(u"db", StoreCheck::Quick).unchecked, 299);
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
  std::ofstream(file(), std::ios::binary | std::ios::trunc) << content;

  const auto orders = queue();
  EXPECT_EQ(count(orders), 3);
  const auto damaged = orders->Messages()->Item(Variant(std::int32_t{2}).get());
  expectError(E_FAIL, nullptr, "document 2 is damaged", [&] { damaged->Body(); });
  const auto report = embedded.check(u"db", StoreCheck::Thorough);
  ASSERT_EQ(report.findings.size(), 1u);
  EXPECT_THAT(toUtf8(report.findings[0]), testing::HasSubstr("document 2"));
  orders->AcknowledgeDocument(String(u"1"));
  expectError(E_FAIL, u"ReceiveNext", "delete the document", [&] { next(orders); });
  orders->AcknowledgeMessage(*damaged);
  EXPECT_EQ(next(orders), "whole too");
}

TEST_F(StoreFile, IdentifiersNeverRepeat) {
  const auto orders = queue();
  send(orders, u"one");
  send(orders, u"two");
  orders->Purge();
  send(orders, u"three");
  EXPECT_EQ(orders->ReceiveNext()->ID(), u"3");
}

TEST_F(StoreFile, AForkedProcessDoesNotTouchItsParentsSession) {
  const auto orders = queue();
  orders->BeginTransaction();
  send(orders, u"parent");
  const pid_t child = fork();
  if (child == 0) {
    const auto inherited = errorOf([&] { send(orders, u"child"); });
    const auto opened = errorOf([&] { send(queue(), u"child"); });
    _exit(inherited && std::string(inherited->what()).find("lost") != std::string::npos && opened &&
                  std::string(opened->what()).find("forked") != std::string::npos
              ? 0
              : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  orders->Commit();
  EXPECT_EQ(count(orders), 1);
}

TEST_F(StoreFile, ManyProcessesMayBeTheFirst) {
  for (int round = 0; round < 10; ++round) {
    for (const char* tail : {"", "-wal", "-shm"}) std::filesystem::remove(file().string() + tail);
    for (int i = 0; i < 6; ++i)
      if (fork() == 0) _exit(errorOf([&] { send(queue(), u"first"); }) ? 1 : 0);
    for (int status = 0; wait(&status) > 0;) EXPECT_EQ(status, 0);
    EXPECT_EQ(count(queue()), 6);
  }
}

TEST_F(StoreFile, RowsOfOtherMessageTypesAreInvisible) {
  {
    platform_layer::Database database(file(), store::sqliteStore().migrations);
    database.begin(platform_layer::Database::Purpose::Stores, std::chrono::seconds(1));
    database.execute("INSERT INTO dbo.mdqMessageType (Name, Queue) VALUES ('other', 'Hidden')");
    database.commit();
  }
  const auto queues = make<DbQueues>();
  queues->Refresh();
  EXPECT_EQ(queues->Count(), 0);
  EXPECT_FALSE(queues->Exists(String(u"Hidden")));
  queues->Add(String(u"Hidden"));
  EXPECT_TRUE(queues->Exists(String(u"hidden")));
}

}  // namespace

}  // namespace CorvaneQueue
