// Settings, names and queue creation against a recording door.
#include "DbUtility.h"
#include "modCompress.h"
#include "PublicUtility.h"
#include "RecordingTest.h"

namespace CorvaneQueue {

namespace {

class UtilityTest : public RecordingTest {
 protected:
  Stepwise<PublicUtility> utility = stepwise<PublicUtility>();
};

TEST_F(UtilityTest, ReadsAndWritesSettingsThroughANewObjectEachTime) {
  step("is", utility->QueueStoreType());
  step("is", utility->UsesPublicQueues());
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
  const auto shows = [&](const Variant& id) { fails([&] { step("is", utility->IDToString(id.get())); }); };
  using Bytes = std::vector<std::uint8_t>;
  for (const Bytes& id :
       {Bytes{7, 7, 0x39, 0x30, 0, 0}, Bytes{0xFF, 0xFF, 0xFF, 0xFF}, Bytes{0, 0, 0, 0x80}, Bytes{1, 2, 3}})
    shows(Variant::bytes(id));
  shows(u"1234");
}

TEST_F(UtilityTest, CutsAndFormsQueueNames) {
  for (const char16_t* path :
       {u"HOST\\private$\\Orders", u"HOST\\Orders", u"Orders", u"A\\PRIVATE$\\B\\C", u"host\\", u""})
    step("\"" + toUtf8(path) + "\" is cut to", Variant(utility->ParseQueuePathName(String(path))).get());
  for (const char16_t* prefix : {u"", u"DIRECT=TCP:10.1.2.3", u"LOCAL", u"X:h\\rest"})
    for (const bool isPublic : {true, false}) {
      if (*prefix != 0) recorder.settings["queueFormatNamePrefix"] = prefix;
      recorder.settings["UsesPublicQueues"] = std::int32_t{isPublic ? -1 : 0};
      step("path", utility->FormatQueuePathName(String(u"Orders")));
      step("format", utility->FormatQueueFormatName(String(u"Orders")));
    }
}

TEST_F(UtilityTest, CreatesQueuesInTheConfiguredStore) {
  for (const char16_t* store : {u"msmq", u"db", u"neither"}) {
    step(toUtf8(store));
    recorder.settings["QueueStoreType"] = store;
    utility->CreateQueue(String(u"Orders"));
  }
  recorder.settings.clear();
  failsAt("Create", [&] { utility->CreateQueue(String(u"Orders")); });
}

TEST_F(UtilityTest, ProbesWhatMessageQueuingSupports) {
  step("public:", utility->SupportsPublicQueues());
  recorder.failing = "Create";
  step("private, when creating fails:", utility->SupportsPrivateQueues());
  recorder.failing = "Delete";
  step("private, when deleting fails:", utility->SupportsPrivateQueues());
  failsAt("PathName", [&] { utility->SupportsPublicQueues(); });
}

TEST_F(UtilityTest, OpensQueuesByFormatNameOrPathName) {
  utility->OpenQueue(String(u"Q"), MQ_SEND_ACCESS, true);
  recorder.version.majorVersion = 4;
  make<PublicUtility>()->OpenQueue(String(u"Q"), MQ_RECEIVE_ACCESS, false);
}

TEST_F(UtilityTest, TheJournalOfAMissingQueueIsOpenedWhoeverCreatesTheQueue) {
  const auto opens = [&](bool isJournal) { utility->OpenQueue(String(u"Q"), MQ_PEEK_ACCESS, isJournal); };
  recorder.failures = {{"Open", MQ_ERROR_QUEUE_NOT_FOUND}};
  opens(true);
  // Somebody is faster.
  recorder.failures = {{"Open", MQ_ERROR_QUEUE_NOT_FOUND}, {"Create", MQ_ERROR_QUEUE_EXISTS}};
  opens(true);
  // Any other failure of the creation is one, and so is that of the second opening.
  recorder.failures = {{"Open", MQ_ERROR_QUEUE_NOT_FOUND}};
  failsAt("Create", [&] { opens(true); });
  failsAt("Open", [&] { opens(false); });
}

TEST_F(UtilityTest, ReadsBodiesByTheirMark) {
  const auto database = make<DbUtility>();
  const auto body = [&](LONG mark, const Variant& content) {
    const auto marked =
        make<NamedObject>(recorder, NamedObject::Members{{u"AppSpecific", mark}, {u"Body", content}});
    step("is", database->GetBody(marked).get());
  };
  const Variant plain = Variant::bytes(std::array<std::uint8_t, 2>{'a', 'b'});
  body(1, modCompress::Compress(Variant(u"Grüße").get()));
  body(2, plain);
  fails([&] { body(1, plain); });
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
