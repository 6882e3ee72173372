// What the object model promises of every store.
#include "Expect.h"
#include "Processes.h"
#include "Stores.h"

#include <gmock/gmock.h>
#include <atomic>
#include <set>
#include <thread>

namespace {

using namespace stores;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class QueueBehaviour : public ::testing::TestWithParam<Store> {
 protected:
  Queue open(const char* name) { return openQueue(GetParam(), name); }
  Installation home{settingsOf(GetParam())};
};
INSTANTIATE_TEST_SUITE_P(Stores, QueueBehaviour, ::testing::ValuesIn(everyStore),
                         [](const auto& each) { return nameOf(each.param); });

const Texts all{"Grüße\r\n", "", std::string(200'000, 'x')};

TEST_P(QueueBehaviour, DocumentsTravelInOrderFromAnyProcessIntoTheJournal) {
  ASSERT_TRUE(succeeded(inProcess(
      [](const Arguments& given) {
        auto queue = openQueue(storeNamed(given[0]), "Orders");
        queue->MsgType("ORDER");
        queue->Object(u"Invoice");
        for (const std::string& document : all) queue->SendDocument(document);
      },
      {nameOf(GetParam())})));
  auto queue = open("orders");  // letter case does not count
  EXPECT_EQ(queue->Name(), u"orders");
  EXPECT_FALSE(queue->IsEmpty());
  const auto messages = listed("Orders")->Messages();
  EXPECT_TRUE(messages->begin() == messages->end() && messages->Count() == 0);  // until Refresh
  EXPECT_EQ(bodies(messages), all);
  EXPECT_EQ(messages->Item(1)->Label(), u"Msg Type: <ORDER> Object: <Invoice> ");
  EXPECT_GT(messages->Item(1)->SentTime().value, 46000);
  EXPECT_EQ(Receiver(GetParam(), queue).takeAll(), all);
  EXPECT_TRUE(queue->IsEmpty());
  EXPECT_EQ(journaled("Orders"), all);
}

TEST_P(QueueBehaviour, ManyProcessesSendAndReceiveEachDocumentOnce) {
  constexpr int each = 30;
  constexpr int documents = 2 * each;
  struct Taken {
    std::atomic<int> times[documents];
    std::atomic<int> together;
  };
  const InAllProcesses<Taken> taken;
  std::vector<Child> children;
  for (int i = 0; i < 3; ++i)
    children.push_back(inProcess(
        [](const Arguments& given) {
          const InAllProcesses<Taken> ofAll(given[0]);
          const Store store = storeNamed(given[1]);
          Receiver receiver(store, openQueue(store, "Orders"));
          const auto late = std::chrono::steady_clock::now() + 60s;
          while (ofAll->together < documents && std::chrono::steady_clock::now() < late)
            if (const auto document = receiver.take(20ms)) {
              ++ofAll->times[std::stoi(*document)];
              ++ofAll->together;
            }
        },
        {taken.name(), nameOf(GetParam())}));
  for (const int first : {0, each})
    children.push_back(inProcess(
        [](const Arguments& given) {
          const auto queue = openQueue(storeNamed(given[0]), "Orders");
          for (int i = 0; i < each; ++i) queue->SendDocument(std::to_string(std::stoi(given[1]) + i));
        },
        {nameOf(GetParam()), std::to_string(first)}));
  for (const Child child : children) EXPECT_TRUE(succeeded(child));
  for (const auto& times : taken->times) EXPECT_EQ(times, 1) << "document " << &times - taken->times;
  EXPECT_TRUE(open("Orders")->IsEmpty());
  EXPECT_EQ(journaled("Orders").size(), static_cast<std::size_t>(documents));
}

TEST_P(QueueBehaviour, ListsBrowseWithoutTakingAndStaySoundWhileTheyAreWalked) {
  auto sender = open("O'Brien's [queue] %_");
  for (const char* text : {"a", "b", "c"}) sender->SendDocument(text);
  const auto messages = browsed("o'brien's [QUEUE] %_");
  const auto second = messages->Item(2);
  const String key = second->ID();
  EXPECT_EQ(messages->Item(key)->Body(), u"b");
  messages->Remove(key);
  EXPECT_EQ(messages->Count(), 2);
  expectError(ErrorNumber::InvalidArgument, nullptr, toUtf8(key), [&] { messages->Item(key); });
  expectError(ErrorNumber::BadIndex, nullptr, "3", [&] { messages->Item(3); });
  EXPECT_THAT(bodies(messages), ElementsAre("a", "b", "c"));
  EXPECT_EQ(second->Body(), u"b");  // an older list's message stays good
  Texts seen;
  for (const auto& message : messages) {  // removed, refreshed and deleted under the loop
    seen.push_back(toUtf8(message->Body()));
    if (messages->Count() > 0) messages->Remove(1);
    sender->AcknowledgeMessage(message);
    messages->Refresh();
  }
  EXPECT_THAT(seen, ElementsAre("a", "b", "c"));
  EXPECT_TRUE(sender->IsEmpty());
}

TEST_P(QueueBehaviour, QueuesAreListedTestedAddedAndForgotten) {
  auto queues = create<Queues>();
  queues->Add("Äpfel")->SendDocument("x");
  open("Elsewhere")->SendDocument("y");  // a send makes its queue
  for (const char* name : {"äPFEL", "Elsewhere"}) EXPECT_TRUE(queues->Exists(name));
  EXPECT_FALSE(queues->Exists("Nowhere"));
  EXPECT_EQ(queues->Count(), 1);
  queues->Refresh();
  EXPECT_EQ(queues->Item(u"elsewhere")->Name(), u"Elsewhere");
  Texts names;
  for (auto each : queues) names.push_back(toUtf8(each->Name()));
  EXPECT_THAT(names, UnorderedElementsAre("Äpfel", "Elsewhere"));
  queues->Remove("Elsewhere");
  EXPECT_EQ(queues->Count(), 1);
  expectError(ErrorNumber::KeyAlreadyPresent, nullptr, "ÄPFEL", [&] { queues->Add("ÄPFEL"); });
  expectError(ErrorNumber::InvalidArgument, nullptr, "None", [&] { queues->Remove(u"None"); });
  expectError(ErrorNumber::BadIndex, nullptr, "2", [&] { queues->Item(2); });
  queues->Add("Elsewhere")->SendDocument("z");
  EXPECT_THAT(waiting("Elsewhere"), ElementsAre("y", "z"));
  create<Utility>()->CreateQueue("New");
  EXPECT_EQ(create<Queues>()->Count(), 3);
}

TEST_P(QueueBehaviour, MessagesAreCopiedAndDeletedByOperators) {
  auto from = open("From");
  from->MsgID("7");
  for (const char* text : {"one", "two"}) from->SendDocument(text);
  const auto messages = browsed("From");
  open("To")->SendMessage(messages->Item(1));
  listed("To")->SendMessage(messages->Item(2));  // the list's queue does it too
  EXPECT_EQ(browsed("To")->Item(2)->Label(), u"MsgID: <7> ");
  from->AcknowledgeMessage(messages->Item(1));
  listed("From")->AcknowledgeMessage(messages->Item(2));
  EXPECT_THAT(waiting("From"), IsEmpty());
  EXPECT_THAT(journaled("From"), ElementsAre("one", "two"));
  EXPECT_THAT(waiting("To"), ElementsAre("one", "two"));
  expectError(ErrorNumber::ObjectNotSet, u"SendMessage", "", [&] { from->SendMessage(Message()); });
  const auto other = isDatabase(GetParam()) ? Store::MessageQueuing : Store::Database;
  create<Utility>()->QueueStoreType(typeOf(other));
  EXPECT_EQ(create<Queues>()->Count(), 0);
  const auto foreign = openQueue(other, "To");
  const auto message = messages->Item(1);
  expectError(ErrorNumber::TypeMismatch, u"SendMessage", "", [&] { foreign->SendMessage(message); });
  expectError(ErrorNumber::TypeMismatch, u"AcknowledgeMessage", "",
              [&] { foreign->AcknowledgeMessage(message); });
}

TEST_P(QueueBehaviour, PurgingQueueAndJournalAreTwoThings) {
  auto journal = create<Queue>();
  journal->Initialize("Orders", true);  // the journal as a queue
  const std::function<void()> purges[] = {[&] { journal->Purge(); },
                                          [] { listed("Orders")->Journal()->Purge(); }};
  for (const auto& purge : purges) {
    auto queue = open("Orders");
    for (const char* text : {"acknowledged", "waiting"}) queue->SendDocument(text);
    queue->AcknowledgeMessage(browsed("Orders")->Item(1));
    EXPECT_THAT(journaled("Orders"), ElementsAre("acknowledged"));
    purge();
    EXPECT_THAT(journaled("Orders"), IsEmpty());
    EXPECT_THAT(waiting("Orders"), ElementsAre("waiting"));
    queue->Purge();
    EXPECT_TRUE(queue->IsEmpty());
    purge();  // what is purged may be journaled
  }
}

TEST_P(QueueBehaviour, IdentifiersNeverRepeat) {
  std::set<std::string> seen;
  for (int round = 0; round < 5; ++round) {  // always an empty store, in sessions of their own
    open("Orders")->SendDocument("x");
    EXPECT_TRUE(seen.insert(toUtf8(browsed("Orders")->Item(1)->ID())).second);
    open("Orders")->Purge();
    listed("Orders")->Journal()->Purge();
  }
}

TEST_P(QueueBehaviour, TransactionsCommitTogetherOrNotAtAll) {
  auto queue = open("Orders");
  queue->SendDocument("first");
  queue->BeginTransaction();
  for (const char* text : {"one", "two"}) queue->SendDocument(text);
  EXPECT_THAT(waiting("Orders"), ElementsAre("first"));
  queue->Commit();
  queue->Commit();  // without one: nothing
  queue->BeginTransaction();
  queue->SendDocument("aborted");
  queue->Abort();
  queue->Abort();
  {
    auto released = open("Orders");
    released->BeginTransaction();
    released->SendDocument("gone");
  }  // its end aborts
  EXPECT_THAT(waiting("Orders"), ElementsAre("first", "one", "two"));
}

TEST_P(QueueBehaviour, ObjectsHaveOneIdentity) {
  open("Orders")->SendDocument("x");
  const Ref<_Queue> queue = listed("Orders").object();
  const auto identity = query<IUnknown>(queue.get());
  EXPECT_EQ(query<IUnknown>(query<IDispatch>(identity.get()).get()).get(), identity.get());
  EXPECT_EQ(call<&_Queue::get_Messages>(queue).get(), call<&_Queue::get_Messages>(queue).get());
  // The default member of a late-bound client is that of the public interface.
  EXPECT_EQ(toString(Variant{Ref<IDispatch>(queue)}.get()), u"Orders");
}

TEST_P(QueueBehaviour, ObjectsServeTheThreadThatCreatedThem) {
  constexpr int threads = 4;
  constexpr int each = 25;
  const auto shared = openQueue(GetParam(), "Orders");
  shared->SendDocument("of the thread that created it");
  const auto messages = listed("Orders")->Messages();
  const auto expectRefused = [](const auto& call) { EXPECT_EQ(errorNumber(call), RPC_E_WRONG_THREAD); };
  const auto inThreads = [&](const auto& body) {
    std::vector<std::thread> started;
    for (int thread = 0; thread < threads; ++thread) started.emplace_back(body);
    for (auto& thread : started) thread.join();
  };
  Queue orphan;
  std::thread([&] { orphan = openQueue(GetParam(), "Orders"); }).join();
  inThreads([&] {
    for (int i = 0; i < each; ++i) {
      const Queue counted = shared;  // references may be counted anywhere
      expectRefused([&] { counted->SendDocument("of another thread"); });
      expectRefused([&] { counted->BeginTransaction(); });
      expectRefused([&] { static_cast<void>(counted->evtArrived([](String&, String&) {})); });
      expectRefused([&] { messages->Refresh(); });
      expectRefused([&] { orphan->SendDocument("of a thread that has ended"); });
    }
  });
  EXPECT_EQ(waiting("Orders"), Texts{"of the thread that created it"});
  inThreads([&] {
    const auto own = openQueue(GetParam(), "Orders");
    for (int i = 0; i < each; ++i) own->SendDocument("of its own thread");
  });
  EXPECT_EQ(waiting("Orders").size(), threads * each + 1u);
}

TEST_P(QueueBehaviour, MistakesChangeNothing) {
  auto orders = open("Orders");
  orders->SendDocument("kept");
  expectError(ErrorNumber::InvalidArgument, nullptr, "UTF-8", [&] { orders->SendDocument("\xFF"); });
  expectError(ErrorNumber::ObjectNotSet, nullptr, "no object", [] { Queue()->Name(); });
  EXPECT_NE(errorNumber([&] { create<Queues>()->Add(""); }), 0);
  EXPECT_THAT(waiting("Orders"), ElementsAre("kept"));
  EXPECT_EQ(create<Queues>()->Count(), 1);
}

}  // namespace
