// Settings, names and queue creation against a recording door.
#include "DbUtility.h"
#include "Expect.h"
#include "modCompress.h"
#include "RecordingPlatform.h"
#include "Utility.h"
#include "ZstdCompression.h"

#include <gmock/gmock.h>

namespace CorvaneQueue {

namespace {

using ::testing::ElementsAre;

class UtilityTest : public ::testing::Test {
 protected:
  platform_layer::ZstdCompression compression;
  RecordingPlatform door{&compression};
  Recorder& recorder = door.recorder;
  Ref<facade::Utility> utility = make<facade::Utility>();
  // The calls since then that are not about settings.
  std::vector<std::string> calls() {
    std::vector<std::string> found;
    for (const auto& call : recorder.take())
      if (!call.starts_with("read") && !call.starts_with("application") && !call.starts_with("section"))
        found.push_back(call);
    return found;
  }
};

TEST_F(UtilityTest, ReadsAndWritesSettingsThroughANewObjectEachTime) {
  EXPECT_THAT(recorder.take(), ElementsAre("default component CorvaneQueue", "default class Utility"));
  EXPECT_EQ(utility->QueueStoreType(), u"msmq");
  EXPECT_THAT(recorder.take(),
              ElementsAre("application Configuration", "section Global", "read QueueStoreType \"msmq\""));
  EXPECT_TRUE(utility->UsesPublicQueues());
  EXPECT_THAT(recorder.take("read"), ElementsAre("read UsesPublicQueues int16 -1"));
  utility->UsesPublicQueues_Let(false);
  utility->UsesPublicQueues_Let(true);
  EXPECT_THAT(recorder.take("write"),
              ElementsAre("write UsesPublicQueues int32 0", "write UsesPublicQueues int32 -1"));
  utility->QueueStoreType_Let(String(u"DB"));
  EXPECT_THAT(recorder.take("write"), ElementsAre("write QueueStoreType \"db\""));
  expectError(100, u"DbUtility", "Unsupported queue storage type",
              [&] { utility->QueueStoreType_Let(String(u"oracle")); });
  expectError(100, u"DbUtility", "Unsupported queue storage type",
              [&] { utility->QueueStoreType_Let(String(u"m\u017Fmq")); });  // lower case already, and no s
  EXPECT_TRUE(recorder.take("write").empty());
  recorder.settings["QueueStoreType"] = u"\u00C4RGER \u03A3\u03C2 \U00010400";
  EXPECT_EQ(utility->QueueStoreType(), u"\u00E4rger \u03C3\u03C2 \U00010428");
  recorder.settings["UsesPublicQueues"] = u"maybe";
  expectError(13, u"UsesPublicQueues", "", [&] { utility->UsesPublicQueues(); });
}

TEST_F(UtilityTest, TurnsIdentifiersIntoDecimals) {
  const auto text = [&](std::vector<std::uint8_t> bytes) {
    return toUtf8(utility->IDToString(Variant::bytes(bytes).get()));
  };
  EXPECT_EQ(text({7, 7, 0x39, 0x30, 0, 0}), "0000012345");
  EXPECT_EQ(text({0xFF, 0xFF, 0xFF, 0xFF}), "-0000000001");
  EXPECT_EQ(text({0, 0, 0, 0x80}), "-2147483648");
  expectError(9, u"IDToString", "at least 4", [&] { text({1, 2, 3}); });
  expectError(13, u"IDToString", "", [&] { utility->IDToString(Variant(u"1234").get()); });
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
    recorder.take();
    EXPECT_EQ(utility->FormatQueuePathName(String(u"Orders")), row.path);
    EXPECT_EQ(utility->FormatQueueFormatName(String(u"Orders")), row.format);
    const auto reads = recorder.take("read");
    ASSERT_EQ(reads.size(), 4u);
    EXPECT_TRUE(reads[0].starts_with("read queueFormatNamePrefix") &&
                reads[2].starts_with("read UsesPublicQueues"));
  }
}

TEST_F(UtilityTest, CreatesQueuesInTheConfiguredStore) {
  recorder.take();
  utility->CreateQueue(String(u"Orders"));
  auto calls = recorder.take();
  EXPECT_THAT(calls,
              ::testing::IsSupersetOf({"new MSMQQueueInfo", "PathName .\\Orders", "Create True True"}));
  recorder.settings["QueueStoreType"] = u"db";
  utility->CreateQueue(String(u"Orders"));
  calls = recorder.take();
  EXPECT_THAT(calls, ::testing::Contains("CommandText [dbo].[mdqCreateMessageType]"));
  EXPECT_THAT(calls, ::testing::Not(::testing::Contains("new MSMQQueueInfo")));
  recorder.settings["QueueStoreType"] = u"neither";
  utility->CreateQueue(String(u"Orders"));
  EXPECT_THAT(recorder.take(), ::testing::Each(::testing::AnyOf("application Configuration", "section Global",
                                                                "read QueueStoreType \"msmq\"")));
  recorder.settings.clear();
  recorder.failing = "Create";
  expectError(4711, u"CreateQueue", "door", [&] { utility->CreateQueue(String(u"Orders")); });
}

TEST_F(UtilityTest, ProbesWhatMessageQueuingSupports) {
  recorder.take();
  EXPECT_TRUE(utility->SupportsPublicQueues());
  EXPECT_THAT(recorder.take(), ElementsAre("new MSMQQueueInfo", "PathName .\\ZedGarbageQueueName", "Delete",
                                           "Create True True", "Delete"));
  recorder.failing = "Create";
  EXPECT_FALSE(utility->SupportsPrivateQueues());
  EXPECT_THAT(recorder.take(), ElementsAre("new MSMQQueueInfo", "PathName .\\PRIVATE$\\ZedGarbageQueueName",
                                           "Delete", "Create True True"));
  recorder.failing = "Delete";
  EXPECT_TRUE(utility->SupportsPrivateQueues());
  recorder.failing = "PathName";
  expectError(4711, u"SupportsPublicQueues", "door", [&] { utility->SupportsPublicQueues(); });
}

TEST_F(UtilityTest, OpensQueuesByFormatNameOrPathName) {
  recorder.take();
  utility->OpenQueue(String(u"Q"), MQ_SEND_ACCESS, true);
  EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Q", "Open 2 0",
                                   "new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Q;JOURNAL", "Open 2 0"));
  recorder.version.majorVersion = 4;
  const auto old = make<facade::Utility>();
  calls();
  old->OpenQueue(String(u"Q"), MQ_RECEIVE_ACCESS, false);
  EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "PathName .\\Q", "Open 1 0"));
}

TEST_F(UtilityTest, TheJournalOfAMissingQueueIsOpenedWhoeverCreatesTheQueue) {
  for (const bool isSomebodyFaster : {false, true}) {
    recorder.failures = {{"Open", MQ_ERROR_QUEUE_NOT_FOUND}};
    if (isSomebodyFaster) recorder.failures.emplace_back("Create", MQ_ERROR_QUEUE_EXISTS);
    calls();
    utility->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, true);
    EXPECT_THAT(calls(), ElementsAre("new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Q", "Open 32 0",
                                     "new MSMQQueueInfo", "PathName .\\Q", "Create True True", "Open 32 0",
                                     "new MSMQQueueInfo", "FormatName DIRECT=OS:.\\Q;JOURNAL", "Open 32 0"));
  }
  // Any other failure of the creation is one, and so is that of the second opening.
  recorder.failing = "Create";
  recorder.failures = {{"Open", MQ_ERROR_QUEUE_NOT_FOUND}};
  expectError(4711, u"OpenQueue", "door", [&] { utility->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, true); });
  EXPECT_THAT(recorder.take("report"), ElementsAre("default report raise 1 4711 CreateQueue",
                                                   "default report raise 1 4711 OpenQueue"));
  recorder.failing = "Open";
  expectError(4711, u"OpenQueue", "door", [&] { utility->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, false); });
  EXPECT_THAT(recorder.take("report"), ElementsAre("default report raise 1 4711 OpenQueue"));
}

}  // namespace

// Any object with the two members, reached by name.
struct IBodied : IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_AppSpecific(LONG* result) noexcept = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Body(VARIANT* result) noexcept = 0;
};
template <>
struct InterfaceTraits<IBodied> {
  static constexpr IID iid = {7, 7, 7, {7}};
  static constexpr const char16_t* name = u"IBodied";
  static constexpr std::array table{get<&IBodied::get_AppSpecific>(1, u"AppSpecific"),
                                    get<&IBodied::get_Body>(2, u"Body")};
  static constexpr std::span<const Member> members = table;
};

namespace {

class Bodied final : public Object<Bodied, DispatchForm<IBodied>> {
 public:
  Bodied(LONG appSpecific, Variant body) : appSpecific_(appSpecific), body_(std::move(body)) {}
  HRESULT STDMETHODCALLTYPE get_AppSpecific(LONG* r) noexcept final {
    return answer(r, [&] { return appSpecific_; });
  }
  HRESULT STDMETHODCALLTYPE get_Body(VARIANT* r) noexcept final {
    return answer(r, [&] { return body_; });
  }

 private:
  LONG appSpecific_;
  Variant body_;
};

TEST_F(UtilityTest, ReadsBodiesByTheirMark) {
  const auto database = make<DbUtility>();
  const auto body = [&](LONG mark, Variant content) {
    return toUtf8(toString(database->GetBody(asDispatch(make<Bodied>(mark, std::move(content)))).get()));
  };
  const Variant document(u"Grüße");
  EXPECT_EQ(body(1, modCompress::Compress(document.get())), "Grüße");
  const std::uint8_t plain[] = {'a', 'b'};
  EXPECT_EQ(body(2, Variant::bytes(plain)), "ab");
  expectError(100, u"Decompress", "Decompression failed", [&] { body(1, Variant::bytes(plain)); });
  EXPECT_EQ(errorNumber([&] { database->GetBody(asDispatch(make<RecordingQueueInfo>(recorder, ""))); }), 438);
  EXPECT_EQ(errorNumber([&] { database->GetBody(nullptr); }), 91);
}

TEST_F(UtilityTest, ListsTheQueuesOfTheConfiguredStore) {
  const auto database = make<DbUtility>();
  recorder.take();
  EXPECT_TRUE(database->GetQueues());  // Message Queuing: nothing is asked of the database
  EXPECT_EQ(recorder.take("OpenRecordset").size(), 0u);
  recorder.settings["QueueStoreType"] = u"DB";
  recorder.take();
  EXPECT_TRUE(database->GetQueues());
  EXPECT_EQ(recorder.take("OpenRecordset").size(), 1u);
  recorder.settings["QueueStoreType"] = u"other";
  expectError(100, u"CorvaneQueue.DbUtility", "Unsupported queue storage type",
              [&] { database->GetQueues(); });
}

TEST_F(UtilityTest, ReportsToTheTraceOnceItHasOne) {
  recorder.take();
  utility->Initialize(make<RecordingTrace>(recorder));
  EXPECT_THAT(recorder.take(), ElementsAre("trace CorvaneQueue Utility"));
  EXPECT_EQ(errorNumber([&] { utility->IDToString(Variant().get()); }), 13);
  EXPECT_THAT(recorder.take(), ElementsAre("traced take 13 ", "traced report raise 1 13 IDToString"));
  utility->Initialize(nullptr);
  EXPECT_EQ(errorNumber([&] { utility->IDToString(Variant().get()); }), 13);
  EXPECT_EQ(recorder.take("traced").size(), 2u);
}

}  // namespace

}  // namespace CorvaneQueue
