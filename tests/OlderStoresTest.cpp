// Stores that earlier versions wrote are brought up to date, whenever that is killed.
#include "Database.h"
#include "EmbeddedPlatform.h"
#include "Installation.h"
#include "Processes.h"
#include "QueueSchema.h"
#include "QueueStore.h"
#include "SqliteStore.h"
#include "StoreCalls.h"

#include <gtest/gtest.h>

namespace CorvaneQueue::platform_layer {

namespace {

constexpr std::int64_t documents = 300;

class OlderStores : public ::testing::Test {
 protected:
  // Opens the store in processes that are killed; then it has all documents.
  template <class Count>
  void survivesKills(const char* name, const Count& count) const {
    const std::string older = home.read(name);
    for (useconds_t delay = 0; delay < 12000; delay += 300) {
      for (const char* tail : {"-wal", "-shm"}) std::filesystem::remove(home.file(name).string() + tail);
      std::ofstream(home.file(name), std::ios::binary) << older;
      const pid_t child = inProcess(count);
      usleep(delay);
      killed(child);
      ASSERT_EQ(count(), documents) << "killed after " << delay << " us";
    }
  }
  // Writes it as that version did.
  void write(const char* name, std::span<const std::string_view> migrations,
             const std::function<void(Database&)>& fill) const {
    Database store(home.file(name), migrations);
    store.write(Database::Purpose::Stores, {}, [&] { fill(store); });
  }
  Installation home;
};

TEST_F(OlderStores, OfMessagesWithoutChecksums) {
  const auto definition = store::sqliteStore();
  write("messages.db", definition.migrations.first(1), [](Database& store) {
    store.execute("INSERT INTO dbo.mdqMessageType VALUES (1, 'idoc', 'Orders')");
    store.execute(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?1)"
        " INSERT INTO dbo.mdqDocument SELECT i, 1, '2026-01-01 00:00:00', '', 'body ' || i FROM n",
        documents);
    store.execute("INSERT INTO dbo.mdqWaiting SELECT 1, MessageID FROM dbo.mdqDocument");
  });
  survivesKills("messages.db", [&] {
    EmbeddedPlatform embedded{definition};
    const auto report = embedded.check(u"db", StoreCheck::Thorough);
    return report.findings.empty() && report.unchecked == documents ? report.documents : 0;
  });
  EmbeddedPlatform embedded{definition};
  const ScopedPlatform door(embedded.door());
  const auto database = platform().host->createDatabaseConnection();
  store::acknowledge(*database, String(u"1"));
  EXPECT_EQ(embedded.check(u"db", StoreCheck::Quick).unchecked, documents - 1);
  const QueueContent content = platform().operations->open(u"db")->content(u"Orders");
  EXPECT_EQ(content.waiting, documents - 1);
  EXPECT_EQ(content.acknowledgedBytes, 6);  // "body 1"
}

TEST_F(OlderStores, OfQueuesWithAllBodiesApart) {
  const auto bodyOf = [](std::int64_t id) {
    return std::vector<std::uint8_t>(id % 5 == 0 ? 5000 : 30, static_cast<std::uint8_t>(id));
  };
  write("queues.db", queueMigrations().first(3), [&](Database& store) {
    store.execute("INSERT INTO dbo.mqInstallation VALUES (zeroblob(16))");
    store.execute("INSERT INTO dbo.mqQueue VALUES (1, 0, 'Orders', 1, 0, 1, -1, -1, 0, 0)");
    for (std::int64_t id = 1; id <= documents; ++id) {  // every second one is in the journal
      MessageHeader header;
      header.id = id;
      const auto body = bodyOf(id);
      store.execute("INSERT INTO dbo.mqBody VALUES (?1, ?2)", id, std::span<const std::uint8_t>(body));
      store.execute("INSERT INTO dbo.mqHeader VALUES (?1, ?2, ?2, '', 0, 0, 0, 0, ?3, ?4)", 2 + id % 2, id,
                    body.size(), static_cast<std::int64_t>(checksumOf(1, header, "", body)));
    }
    store.execute("INSERT INTO dbo.mqBody VALUES (1000, 'of a message that is gone')");
    store.execute("INSERT INTO dbo.mqDropped VALUES (1000)");
  });
  survivesKills("queues.db", [&] {
    QueueStore store(home.directory());
    std::int64_t whole = 0;
    std::vector<MessageHeader> headers;
    for (const bool isJournal : {false, true}) {
      const Box box{1, isJournal};
      store.read(box, 0, documents, headers);
      for (const MessageHeader& header : headers)
        whole += std::ranges::equal(bytesOf(store.body(box, header)->get()), bodyOf(header.id)) ? 1 : 0;
    }
    return whole;
  });
  QueueStore store(home.directory());
  store.write(Database::Purpose::Stores, [&] { store.put({1, {}}); });
  EXPECT_EQ(store.queues().all().front().messages, documents / 2 + 1);
  EXPECT_EQ(store.queues().all().front().journalMessages, documents / 2);
  std::vector<MessageHeader> headers;
  store.read({1, false}, documents, 1, headers);
  ASSERT_EQ(headers.size(), 1u);
  EXPECT_GT(headers[0].id, 1000);  // no number is given twice
}

}  // namespace

}  // namespace CorvaneQueue::platform_layer
