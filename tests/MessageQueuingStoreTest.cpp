// The object model on the Message Queuing store, end to end on the embedded queue service.
#include "Expect.h"
#include "Installation.h"

#include <CorvaneQueue/CorvaneQueue.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace CorvaneQueue;

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

Texts bodies(const Messages& messages) {
  Texts found;
  messages->Refresh();
  if (messages->Count() == 0) return found;
  for (const auto& message : messages) found.push_back(toUtf8(message->Body()));
  return found;
}
Queue openQueue(const char* name) {
  auto queue = create<Queue>();
  queue->Initialize(name);
  return queue;
}
Queue listed(const char* name) { return create<Queues>()->Item(name); }

TEST(MessageQueuingStore, BrowsesCopiesAndKeepsJournals) {
  const Installation home("");  // the default store
  auto orders = openQueue("Orders");
  orders->MsgType("ORDER");
  orders->ObjectID("9");
  for (const char* text : {"first", "Grüße", "third"}) orders->SendDocument(text);
  openQueue("Copies")->SendDocument("here already");

  auto queues = create<Queues>();
  EXPECT_EQ(queues->Count(), 2);
  EXPECT_TRUE(queues->Exists("ORDERS"));
  EXPECT_FALSE(queues->Exists("Nowhere"));
  EXPECT_EQ(queues->Add("New")->Name(), u"New");
  queues->Refresh();
  EXPECT_EQ(queues->Count(), 3);
  expectError(ErrorNumber::KeyAlreadyPresent, nullptr, "orders", [&] { queues->Add("orders"); });

  const auto browsed = queues->Item("orders");
  EXPECT_EQ(bodies(browsed->Messages()), (Texts{"first", "Grüße", "third"}));
  const auto second = browsed->Messages()->Item(2);
  EXPECT_EQ(second->ID().size(), 10u);
  EXPECT_EQ(second->Label(), u"Msg Type: <ORDER> ObjectID: <9> ");
  EXPECT_EQ(second->BodyLength(), 5);  // bytes, of a code page
  EXPECT_EQ(second->AppSpecific(), 0);
  EXPECT_EQ(second->TimeToAcknowledge(), -1);
  EXPECT_GT(second->ArrivedTime().value, 40000);
  openQueue("Copies")->SendMessage(second);
  EXPECT_EQ(bodies(listed("Copies")->Messages()), (Texts{"here already", "Grüße"}));

  orders->JournalEnabled(true);
  EXPECT_TRUE(browsed->JournalEnabled());
  browsed->AcknowledgeMessage(second);
  browsed->AcknowledgeMessage(second);  // gone: nothing happens
  EXPECT_EQ(bodies(browsed->Messages()), (Texts{"first", "third"}));
  EXPECT_EQ(bodies(browsed->Journal()->Messages()), Texts{"Grüße"});
  orders->Purge();
  EXPECT_TRUE(orders->IsEmpty());
  EXPECT_EQ(bodies(browsed->Journal()->Messages()).size(), 3u);
  browsed->Journal()->Purge();
  EXPECT_EQ(bodies(browsed->Journal()->Messages()), Texts{});

  orders->Quota(1);
  EXPECT_EQ(orders->QueueSize(), 1);
  orders->JournalQuota(7);
  EXPECT_TRUE(orders->JournalEnabled());
  expectError(MQ_ERROR_INSUFFICIENT_RESOURCES, u"SendDocument", "quota",
              [&] { orders->SendDocument(std::string(2000, 'x')); });
  expectError(100, u"ReceiveNext", "Not implemented", [&] { orders->ReceiveNext(); });
}

TEST(MessageQueuingStore, TransactionsHoldBackAndUndo) {
  const Installation home("");
  auto orders = openQueue("Orders");
  EXPECT_EQ(orders->BeginTransaction().type(), VT_DISPATCH);
  orders->SendDocument("kept back");
  EXPECT_EQ(bodies(listed("Orders")->Messages()), Texts{});
  orders->Abort();
  orders->BeginTransaction();
  orders->SendDocument("committed");
  const Variant transaction = orders->Transaction();
  orders->Commit();
  orders->Commit();  // without one: nothing
  EXPECT_EQ(bodies(listed("Orders")->Messages()), Texts{"committed"});
  orders->Transaction(transaction);
  EXPECT_EQ(errorNumber([&] { orders->SendDocument("x"); }), MQ_ERROR_TRANSACTION_SEQUENCE);
  {
    auto other = openQueue("Orders");
    other->BeginTransaction();
    other->SendDocument("released");
  }
  EXPECT_EQ(bodies(listed("Orders")->Messages()), Texts{"committed"});
}

TEST(MessageQueuingStore, AnnouncesOneDocumentAtATime) {
  const Installation home("[Components.OrdersQueue.OrdersQueue]\nCompressMessages = 1\n");
  int go[2];
  ASSERT_EQ(pipe(go), 0);
  const pid_t sender = fork();
  if (sender == 0) {
    char byte;
    if (read(go[0], &byte, 1) != 1) _exit(1);
    auto queue = openQueue("Orders");
    queue->MsgType("ORDER");
    for (const char* text : {"one", "two", "thrée"}) queue->SendDocument(text);
    _exit(0);
  }
  auto orders = openQueue("Orders");
  EXPECT_TRUE(orders->CompressMessages());
  Texts arrived;
  auto subscription = orders->evtArrived([&](String& document, String& id) {
    EXPECT_EQ(id.size(), 10u);
    EXPECT_EQ(orders->MsgType(), u"ORDER");
    arrived.push_back(toUtf8(document));
    if (arrived.size() == 2) document = u"changed";
    orders->AcknowledgeDocument(id);
  });
  orders->ReceiveEnable();
  ASSERT_EQ(write(go[1], "x", 1), 1);
  while (arrived.size() < 3) Apartment::current().pump(10s);
  EXPECT_EQ(arrived, (Texts{"one", "two", "thrée"}));
  EXPECT_EQ(orders->LastDocument(), u"thrée");
  int status = 0;
  waitpid(sender, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(orders->IsEmpty());

  // Not acknowledged: announced again to the next receiver, and to none while this one holds it.
  orders->ReceiveDisable();
  auto holder = std::make_unique<Queue>(openQueue("Orders"));
  int announced = 0;
  {
    const auto held = (*holder)->evtArrived([&](String&, String&) { ++announced; });
    (*holder)->ReceiveEnable();
    orders->SendDocument("held");
    while (announced < 1) Apartment::current().pump(10s);
    orders->ReceiveEnable();
    Apartment::current().pump(20ms);
    EXPECT_EQ(arrived.size(), 3u);
  }
  holder = nullptr;
  while (arrived.size() < 4) Apartment::current().pump(10s);
  EXPECT_EQ(arrived.back(), "held");

  // The client lets go of the queue inside its handler, and another initialises anew.
  auto leaving = std::make_unique<Queue>(openQueue("Other"));
  const auto last = (*leaving)->evtArrived([&](String&, String&) {
    (*leaving)->AcknowledgeDocument();
    leaving = nullptr;
  });
  (*leaving)->ReceiveEnable();
  (*leaving)->SendDocument("bye");
  while (leaving) Apartment::current().pump(10s);
  auto again = openQueue("Again");
  bool isInitialised = false;
  const auto anew = again->evtArrived([&](String&, String&) {
    again->Initialize("Elsewhere");
    isInitialised = true;
    throw std::runtime_error("a handler that throws");
  });
  again->ReceiveEnable();
  again->SendDocument("x");
  while (!isInitialised) Apartment::current().pump(10s);
  EXPECT_EQ(again->Name(), u"Elsewhere");
  EXPECT_EQ(bodies(listed("Again")->Messages()), Texts{"x"});  // its transaction ended with the back end
}

}  // namespace
