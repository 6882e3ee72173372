// Settings, names and queue creation against a recording door.
#include "DbUtility.h"
#include "modCompress.h"
#include "RecordingPlatform.h"
#include "Utility.h"

namespace CorvaneQueue {

namespace {

class UtilityTest : public RecordingTest {
 protected:
  Ref<facade::Utility> utility = make<facade::Utility>();
};

TEST_F(UtilityTest, ReadsAndWritesSettingsThroughANewObjectEachTime) {
  EXPECT_EQ(utility->QueueStoreType(), u"msmq");
  EXPECT_TRUE(utility->UsesPublicQueues());
  utility->UsesPublicQueues_Let(false);
  utility->UsesPublicQueues_Let(true);
  utility->QueueStoreType_Let(String(u"DB"));
  fails([&] { utility->QueueStoreType_Let(String(u"oracle")); });
  fails([&] { utility->QueueStoreType_Let(String(u"m\u017Fmq")); });  // lower case already, and no s
  recorder.settings["QueueStoreType"] = u"\u00C4RGER \u03A3\u03C2 \U00010400";
  EXPECT_EQ(utility->QueueStoreType(), u"\u00E4rger \u03C3\u03C2 \U00010428");
  recorder.settings["UsesPublicQueues"] = u"maybe";
  fails([&] { utility->UsesPublicQueues(); });
}

TEST_F(UtilityTest, TurnsIdentifiersIntoDecimals) {
  const auto text = [&](std::vector<std::uint8_t> bytes) {
    return toUtf8(utility->IDToString(Variant::bytes(bytes).get()));
  };
  EXPECT_EQ(text({7, 7, 0x39, 0x30, 0, 0}), "0000012345");
  EXPECT_EQ(text({0xFF, 0xFF, 0xFF, 0xFF}), "-0000000001");
  EXPECT_EQ(text({0, 0, 0, 0x80}), "-2147483648");
  fails([&] { text({1, 2, 3}); });
  fails([&] { utility->IDToString(Variant(u"1234").get()); });
}

TEST_F(UtilityTest, CutsAndFormsQueueNames) {
  const std::pair<const char16_t*, const char16_t*> cuts[] = {{u"HOST\\private$\\Orders", u"Orders"},
                                                              {u"HOST\\Orders", u"Orders"},
                                                              {u"Orders", u"Orders"},
                                                              {u"A\\PRIVATE$\\B\\C", u"B\\C"},
                                                              {u"host\\", u""},
                                                              {u"", u""}};
  for (const auto& [path, name] : cuts) EXPECT_EQ(utility->ParseQueuePathName(String(path)), name);
  struct Row {
    const char16_t* prefix;
    bool isPublic;
    const char16_t* path;
    const char16_t* format;
  };
  const Row rows[] = {{nullptr, true, u".\\Orders", u"DIRECT=OS:.\\Orders"},
                      {nullptr, false, u".\\PRIVATE$\\Orders", u"DIRECT=OS:.\\PRIVATE$\\Orders"},
                      {u"DIRECT=TCP:10.1.2.3", true, u"10.1.2.3\\Orders", u"DIRECT=TCP:10.1.2.3\\Orders"},
                      {u"LOCAL", false, u"\\PRIVATE$\\Orders", u"LOCAL\\PRIVATE$\\Orders"},
                      {u"X:h\\rest", true, u"h\\Orders", u"X:h\\rest\\Orders"}};
  for (const Row& row : rows) {
    recorder.settings.clear();
    if (row.prefix != nullptr) recorder.settings["queueFormatNamePrefix"] = row.prefix;
    recorder.settings["UsesPublicQueues"] = std::int32_t{row.isPublic ? -1 : 0};
    EXPECT_EQ(utility->FormatQueuePathName(String(u"Orders")), row.path);
    EXPECT_EQ(utility->FormatQueueFormatName(String(u"Orders")), row.format);
  }
}

TEST_F(UtilityTest, CreatesQueuesInTheConfiguredStore) {
  for (const char16_t* store : {u"msmq", u"db", u"neither"}) {
    step(toUtf8(store));
    recorder.settings["QueueStoreType"] = store;
    utility->CreateQueue(String(u"Orders"));
  }
  recorder.settings.clear();
  recorder.failing = "Create";
  fails([&] { utility->CreateQueue(String(u"Orders")); });
}

TEST_F(UtilityTest, ProbesWhatMessageQueuingSupports) {
  EXPECT_TRUE(utility->SupportsPublicQueues());
  recorder.failing = "Create";
  EXPECT_FALSE(utility->SupportsPrivateQueues());
  recorder.failing = "Delete";
  EXPECT_TRUE(utility->SupportsPrivateQueues());
  recorder.failing = "PathName";
  fails([&] { utility->SupportsPublicQueues(); });
}

TEST_F(UtilityTest, OpensQueuesByFormatNameOrPathName) {
  utility->OpenQueue(String(u"Q"), MQ_SEND_ACCESS, true);
  recorder.version.majorVersion = 4;
  make<facade::Utility>()->OpenQueue(String(u"Q"), MQ_RECEIVE_ACCESS, false);
}

TEST_F(UtilityTest, TheJournalOfAMissingQueueIsOpenedWhoeverCreatesTheQueue) {
  const auto opens = [&](bool isJournal) { utility->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, isJournal); };
  recorder.failures = {{"Open", MQ_ERROR_QUEUE_NOT_FOUND}};
  opens(true);
  step("somebody is faster");
  recorder.failures = {{"Open", MQ_ERROR_QUEUE_NOT_FOUND}, {"Create", MQ_ERROR_QUEUE_EXISTS}};
  opens(true);
  step("any other failure of the creation is one, and so is that of the second opening");
  recorder.failing = "Create";
  recorder.failures = {{"Open", MQ_ERROR_QUEUE_NOT_FOUND}};
  fails([&] { opens(true); });
  recorder.failing = "Open";
  fails([&] { opens(false); });
}

TEST_F(UtilityTest, ReadsBodiesByTheirMark) {
  const auto database = make<DbUtility>();
  const auto body = [&](LONG mark, Variant content) {
    const auto marked = message(1);
    marked->appSpecific = mark;
    marked->body = std::move(content);
    return toUtf8(toString(database->GetBody(asDispatch(make<NamedObject>(recorder, marked))).get()));
  };
  const std::uint8_t plain[] = {'a', 'b'};
  EXPECT_EQ(body(1, modCompress::Compress(Variant(u"Grüße").get())), "Grüße");
  EXPECT_EQ(body(2, Variant::bytes(plain)), "ab");
  fails([&] { body(1, Variant::bytes(plain)); });
  fails([&] { database->GetBody(asDispatch(make<RecordingQueueInfo>(recorder))); });
  fails([&] { database->GetBody(nullptr); });
}

TEST_F(UtilityTest, ListsTheQueuesOfTheConfiguredStore) {
  const auto database = make<DbUtility>();
  EXPECT_TRUE(database->GetQueues());  // Message Queuing: nothing is asked of the database
  recorder.settings["QueueStoreType"] = u"DB";
  EXPECT_TRUE(database->GetQueues());
  recorder.settings["QueueStoreType"] = u"other";
  fails([&] { database->GetQueues(); });
}

}  // namespace

}  // namespace CorvaneQueue
