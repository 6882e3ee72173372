// Where the stores differ: the rows of the table in the README, in their order.
#include "Expect.h"
#include "Processes.h"
#include "Stores.h"

#include <gmock/gmock.h>

namespace {

using namespace stores;
using ::testing::ElementsAre;

const std::u16string everyUnit{u'<', 0, 0xD800, u'€', 0xD83D, 0xDE00, u'\n', 0xDC00, u'Ж'};

// What this store refuses, late clients ask for.
TEST(StoreCapabilities, OfTheDatabase) {
  const Installation home(settingsOf(Store::Database));
  auto queue = openQueue(Store::Database, "Orders");
  queue->SendDocument(everyUnit);
  auto message = queue->ReceiveNext();
  EXPECT_EQ(queue->ReceiveNext()->ID(), message->ID());  // it waits until it is acknowledged
  EXPECT_EQ(queue->LastDocument(), u"");
  EXPECT_EQ(toInt32(queue->BeginTransaction().get()), 1);
  EXPECT_EQ(toInt32(queue->BeginTransaction().get()), 0);  // the one that is open
  queue->Abort();
  EXPECT_EQ(message->Body().view(), everyUnit);
  EXPECT_EQ(message->BodyLength(), 9);
  EXPECT_EQ(browsed("Orders")->Item(1)->ID(), u"0000000000000000001");
  queue->AcknowledgeDocument(message->ID());
  queue->AcknowledgeDocument(message->ID());  // twice is as good as once
  EXPECT_EQ(journaled("Orders").size(), 1u);
  const auto handler = [](String&, String&) {};
  expectError(ErrorNumber::TypeMismatch, nullptr, "",  // the list's queues have no events
              [&] { static_cast<void>(listed("Orders")->evtArrived(handler)); });
  create<Utility>()->CreateQueue("Orders");  // is there already
}

TEST(StoreCapabilities, OfMessageQueuing) {
  const Installation home("");  // the default store
  auto queue = create<Queue>();
  queue->Initialize("Orders");
  queue->SendDocument(everyUnit);
  expectError(100, u"ReceiveNext", "Not implemented", [&] { queue->ReceiveNext(); });
  std::u16string arrived;
  const auto arrivals = queue->evtArrived([&](String& document, String&) { arrived = document.view(); });
  queue->ReceiveEnable();
  Apartment::current().pump(1s);
  EXPECT_EQ(queue->LastDocument(), arrived);
  queue->ReceiveDisable();
  queue->Abort();
  EXPECT_EQ(queue->BeginTransaction().type(), VT_DISPATCH);
  const Variant given = queue->Transaction();
  queue->Commit();
  queue->Transaction(given);
  expectError(MQ_ERROR_TRANSACTION_SEQUENCE, u"SendDocument", "", [&] { queue->SendDocument("x"); });
  queue->Transaction(Variant());
  EXPECT_EQ(arrived, everyUnit);
  const auto message = browsed("Orders")->Item(1);
  EXPECT_EQ(message->BodyLength(), 18);  // bytes
  EXPECT_EQ(message->ID().size(), 10u);
  EXPECT_GT(message->ArrivedTime().value, 46000);
  EXPECT_EQ(message->AppSpecific(), 0);
  EXPECT_EQ(message->TimeToAcknowledge(), -1);
  queue->AcknowledgeDocument("whatever");  // there is one that is pending, or none
  queue->AcknowledgeMessage(message);
  EXPECT_EQ(journaled("Orders").size(), 0u);  // until it is enabled
  queue->JournalEnabled(true);
  EXPECT_TRUE(queue->JournalEnabled());
  openQueue(Store::MessageQueuing, "Orders")->JournalEnabled(false);
  queue->Quota(1);
  queue->JournalQuota(7);
  EXPECT_FALSE(queue->JournalEnabled());  // what another object changes stays, and is seen
  EXPECT_EQ(queue->QueueSize(), 1);
  EXPECT_EQ(queue->JournalQuota(), 7);
  expectError(MQ_ERROR_ILLEGAL_QUEUE_PATHNAME, u"CreateQueue", "240",
              [&] { create<Queues>()->Add(std::string(241, 'x')); });
  expectError(MQ_ERROR_QUEUE_EXISTS, u"CreateQueue", "Orders",
              [&] { create<Utility>()->CreateQueue("Orders"); });
  // Compressed too, every unit travels.
  home.writeSettings("[Components.SmallQueue.SmallQueue]\nCompressMessages = 1\n");
  openQueue(Store::MessageQueuing, "Small")->SendDocument(everyUnit);
  const auto small = browsed("Small")->Item(1);
  EXPECT_EQ(small->Body().view(), everyUnit);
  EXPECT_EQ(small->AppSpecific(), 1);
  for (const std::u16string& text : {std::u16string(), std::u16string(300'000, u'a')}) {
    openQueue(Store::MessageQueuing, "Small")->SendDocument(text);
    const auto messages = browsed("Small");
    EXPECT_EQ(messages->Item(messages->Count())->Body().view(), text);
  }
}

TEST(StoreCapabilities, OfMessageQueuingWithTheCodePageThatTheInstallationHas) {
  const Installation home("[Platform]\nCodePage = 1252\n");
  const std::u16string kept{u'<', 0, u'?', u'€', u'?', u'\n', u'?', u'?'};
  const auto body = [](const char* name) { return std::u16string(browsed(name)->Item(1)->Body().view()); };
  for (const char* name : {"Losing", "losing", "Losing too"})
    openQueue(Store::MessageQueuing, name)->SendDocument(everyUnit);
  EXPECT_EQ(body("Losing"), kept);
  const std::string log = home.read("log/corvane.log");
  EXPECT_EQ(std::ranges::count(log, '\n'), 2);  // once a queue
  EXPECT_THAT(log, ::testing::HasSubstr("warning 100 \"\" \"A document for the queue \\\"Losing\\\""));
  // What is stored keeps its meaning: when the settings are replaced, and when the store was there before any
  // code page was written down.
  home.writeSettings("");
  EXPECT_EQ(body("Losing"), kept);
  std::filesystem::remove(home.file("msmq/storage/codepage"));
  EXPECT_EQ(body("Losing"), kept);
  EXPECT_TRUE(succeeded(inProcess([&] { body("Losing"); })));  // which opens the store anew
  EXPECT_THAT(home.read("settings.toml"), ::testing::HasSubstr("CodePage = 1252"));
  const Installation fresh("");
  openQueue(Store::MessageQueuing, "Orders")->SendDocument(everyUnit);
  EXPECT_THAT(fresh.read("settings.toml"), ::testing::HasSubstr("CodePage = 65001"));
  EXPECT_EQ(body("Orders"), everyUnit);
}

}  // namespace
