// Every error a client can cause carries number, source and a sentence, and changes nothing.
#include "Client.h"
#include "Expect.h"
#include "Installation.h"

#include <gmock/gmock.h>

namespace {

using namespace client;

TEST(Errors, OfIdentifiersTellWhatWasWrong) {
  const Installation home;
  const auto queue = openQueue(u"Orders");
  send(queue, u"x");
  struct Row {
    const char16_t* id;
    std::int32_t number;
    const char* part;
  };
  const Row rows[] = {{u"", 13, "whole number"},
                      {u"abc", 13, "\"abc\""},
                      {u"1x", 13, "whole number"},
                      {u"1.4", 13, "\"1.4\""},
                      {u"$1", 13, "whole number"},
                      {u"9223372036854775808", 6, "out of range"},
                      {u"2", 5, "never stored, or it has been purged"},
                      {u"-1", 5, "-1"}};
  for (const Row& row : rows)
    expectError(row.number, u"AcknowledgeDocument", row.part,
                [&] { call<&_Queue::raw_AcknowledgeDocument>(queue, row.id); });
  EXPECT_EQ(waiting(u"Orders").size(), 1u);
  call<&_Queue::raw_Purge>(queue);
  expectError(5, u"AcknowledgeDocument", "purged",
              [&] { call<&_Queue::raw_AcknowledgeDocument>(queue, u"1"); });
}

TEST(Errors, OfLongTextsNameTheLimitAndStoreNothing) {
  const Installation home;
  const auto queue = openQueue(u"Orders");
  const std::u16string longText(251, u'n');
  call<&_Queue::put_MsgType>(queue, std::u16string(251, u't'));
  expectError(5, u"SendDocument", "\"Description\" is too long: 264 characters, and at most 250",
              [&] { send(queue, u"x"); });
  expectError(5, u"SendDocument", "\"Queue\" is too long", [&] { send(openQueue(longText.c_str()), u"x"); });
  const auto queues = openQueues();
  expectError(5, u"Add", "\"@Queue\" is too long", [&] { call<&_Queues::raw_Add>(queues, longText); });
  EXPECT_EQ(call<&_Queues::get_Count>(openQueues()), 0);
  call<&_Queue::put_MsgType>(queue, std::u16string(250 - 13, u't'));  // 250 with its tag: fits
  send(queue, u"x");
}

// A message that is not of this store.
class ForeignMessage final : public IUnknown {
 public:
  HRESULT QueryInterface(REFIID iid, void** object) noexcept override {
    *object = iid == IID_IUnknown ? this : nullptr;
    return *object != nullptr ? S_OK : E_NOINTERFACE;
  }
  ULONG AddRef() noexcept override { return 2; }
  ULONG Release() noexcept override { return 1; }
};

TEST(Errors, OfForeignObjectsAndNullsAreTypeMismatchAndObjectNotSet) {
  const Installation home;
  const auto queue = openQueue(u"Orders");
  send(queue, u"x");
  ForeignMessage foreign;
  // The vtable call takes any pointer; the library asks the object before it uses it.
  auto* message = reinterpret_cast<_Message*>(static_cast<IUnknown*>(&foreign));
  expectError(13, u"SendMessage", "Type mismatch", [&] { call<&_Queue::raw_SendMessage>(queue, message); });
  expectError(13, u"AcknowledgeMessage", "Type mismatch",
              [&] { call<&_Queue::raw_AcknowledgeMessage>(queue, message); });
  expectError(91, u"SendMessage", "Object not set",
              [&] { call<&_Queue::raw_SendMessage>(queue, static_cast<_Message*>(nullptr)); });
  EXPECT_EQ(Error::fromResult(queue->get_Name(nullptr)).number(), 91);
  EXPECT_EQ(Error::fromResult(call<&_Queue::get_Messages>(listed(u"Orders"))->raw_Remove(nullptr)).number(),
            91);
  EXPECT_EQ(waiting(u"Orders").size(), 1u);
  // Members that this store does not keep.
  const auto received = receive(queue);
  expectError(91, nullptr, "does not keep ArrivedTime", [&] { call<&_Message::get_ArrivedTime>(received); });
  expectError(100, u"Quota Let", "Unsupported", [&] { call<&_Queue::put_Quota>(queue, 5); });
  expectError(ErrorNumber::NotImplemented, u"ReceiveEnableGet", "Not implemented",
              [&] { call<&_Queue::raw_ReceiveEnable>(queue); });
}

TEST(Errors, OfSettingsNameTheSettingOrTheLine) {
  const Installation home("[Configuration.Global]\nQueueStoreType = \"oracle\"\n");
  expectError(91, u"Initialize", "\"oracle\"; set it to \"db\" or \"msmq\"", [] { openQueue(u"Q"); });
  expectError(100, u"CorvaneQueue.DbUtility", "Unsupported queue storage type", [] { openQueues(); });
  home.writeSettings("[Configuration.Global]\nQueueStoreType = \"db\n");
  expectError(E_FAIL, u"Initialize", "settings.toml\" does not parse: line 2", [] { openQueue(u"Q"); });
  expectError(E_FAIL, nullptr, "line 2",
              [] { call<&_Utility::put_QueueStoreType>(create<_Utility>(u"CorvaneQueue.Utility"), u"db"); });
  EXPECT_EQ(home.read("settings.toml"), "[Configuration.Global]\nQueueStoreType = \"db\n");
  expectError(CO_E_CLASSSTRING, nullptr, "CorvaneQueue.Nothing",
              [] { create<_Queue>(u"CorvaneQueue.Nothing"); });
}

TEST(Errors, ReachTheTraceOfAClientToo) {
  const Installation home;
  const auto queue = openQueue(u"Orders");
  call<&_Queue::putref_ProcessTrace>(queue, create<_ProcessTrace>(u"CorvaneSYS.ProcessTrace"));
  EXPECT_EQ(errorNumber([&] { call<&_Queue::raw_AcknowledgeDocument>(queue, u"7"); }), 5);
  const std::string log = home.read("log/corvane.log");
  for (const char* part :
       {"CorvaneQueue.DbQueue \"AcknowledgeDocument\" error 5",
        "CorvaneQueue.DbQueue \"IQueue_AcknowledgeDocument\"",
        "CorvaneQueue.Queue \"AcknowledgeDocument\" error 5 \"IQueue_AcknowledgeDocument\""})
    EXPECT_NE(log.find(part), std::string::npos) << part;
}

TEST(Errors, OfListsLeaveTheListAsItIs) {
  const Installation home;
  send(openQueue(u"Orders"), u"x");
  const auto queues = openQueues();
  EXPECT_EQ(errorNumber([&] { call<&_Queues::get_Item>(queues, Variant(u"None")); }), 5);
  EXPECT_EQ(errorNumber([&] { call<&_Queues::get_Item>(queues, Variant(std::int32_t{2})); }), 9);
  EXPECT_EQ(errorNumber([&] { call<&_Queues::raw_Remove>(queues, Variant(u"None")); }), 5);
  EXPECT_EQ(call<&_Queues::get_Count>(queues), 1);
}

}  // namespace
