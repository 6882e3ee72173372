// The handles that C++ clients write with, on the database store.
#include "Expect.h"
#include "Installation.h"

#include <CorvaneQueue/CorvaneQueue.h>

using namespace CorvaneQueue;

namespace {

std::vector<std::string> bodies(const Messages& messages) {
  std::vector<std::string> found;
  for (const auto& message : messages) found.push_back(toUtf8(message->Body()));
  return found;
}
using Texts = std::vector<std::string>;

TEST(ClientView, CarriesADocumentIntoTheJournal) {
  const Installation home("");
  create<Utility>()->QueueStoreType("db");
  auto queue = create<Queue>();
  queue->Initialize(u"Orders", false);
  queue->MsgType("ORDER");
  queue->ObjectID(std::u16string(u"9"));
  queue->SendDocument("Grüße");
  queue->SendDocument(u"second");
  const auto message = queue->ReceiveNext();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->Body(), u"Grüße");
  EXPECT_EQ(message->Label(), u"Msg Type: <ORDER> ObjectID: <9> ");
  queue->AcknowledgeDocument(message->ID());

  auto queues = create<Queues>();
  Texts journal;
  for (auto journaled : queues->Item(u"Orders")->Journal()->Messages())
    journal.push_back(toUtf8(journaled->Body()));
  EXPECT_EQ(journal, Texts{"Grüße"});
  EXPECT_EQ(bodies(queues->Item(1)->Messages()), Texts{"second"});
  for (auto each : queues) EXPECT_EQ(each->Name(), u"Orders");
  EXPECT_FALSE(create<Queues>()->Exists("Nowhere"));
}

TEST(ClientView, ListsStaySoundWhileTheyAreWalked) {
  const Installation home;
  const auto queues = create<Queues>();
  auto orders = queues->Add("Orders");
  for (const char* text : {"a", "b", "c"}) orders->SendDocument(text);
  const auto messages = orders->Messages();
  messages->Refresh();
  Texts seen;
  for (const auto& message : messages) {  // removed, refreshed and deleted under the loop
    seen.push_back(toUtf8(message->Body()));
    if (messages->Count() > 0) messages->Remove(1);
    orders->AcknowledgeMessage(message);
    messages->Refresh();
  }
  EXPECT_EQ(seen, (Texts{"a", "b", "c"}));
  EXPECT_TRUE(orders->IsEmpty());
  EXPECT_FALSE(orders->ReceiveNext());
}

TEST(ClientView, AnswersMistakesAndChangesNothing) {
  const Installation home;
  const auto queues = create<Queues>();
  auto orders = queues->Add("Orders");
  orders->SendDocument("kept");
  const auto messages = orders->Messages();
  messages->Refresh();
  expectError(ErrorNumber::BadIndex, nullptr, "2", [&] { messages->Item(2); });
  expectError(ErrorNumber::BadIndex, nullptr, "0", [&] { messages->Remove(0); });
  expectError(ErrorNumber::InvalidArgument, nullptr, "none", [&] { messages->Item("none"); });
  expectError(ErrorNumber::InvalidArgument, nullptr, "Nowhere", [&] { queues->Item(u"Nowhere"); });
  expectError(ErrorNumber::KeyAlreadyPresent, nullptr, "orders", [&] { queues->Add("orders"); });
  expectError(ErrorNumber::InvalidArgument, nullptr, "UTF-8", [&] { orders->SendDocument("\xFF"); });
  expectError(ErrorNumber::ObjectNotSet, nullptr, "no object", [] { Queue()->Name(); });
  expectError(ErrorNumber::ObjectNotSet, u"SendMessage", "", [] {
    const auto fresh = create<Queue>();
    fresh->Initialize("Orders");
    fresh->SendMessage(Message());
  });
  expectError(ErrorNumber::InvalidArgument, u"Add", "needs a name", [&] { queues->Add(""); });
  expectError(ErrorNumber::InvalidArgument, u"Add", "too long: 251 characters",
              [&] { queues->Add(std::string(251, 'x')); });
  const auto handler = [](String&, String&) {};
  EXPECT_EQ(errorNumber([&] { static_cast<void>(queues->Item(1)->evtArrived(handler)); }),
            ErrorNumber::TypeMismatch);  // events come from objects of the class Queue
  queues->Refresh();
  EXPECT_EQ(queues->Count(), 1);
  EXPECT_EQ(bodies(messages), Texts{"kept"});
}

}  // namespace
