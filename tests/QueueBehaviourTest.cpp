// What the object model promises of a store, through the public interfaces alone.
#include "Client.h"
#include "Expect.h"
#include "Installation.h"

#include <gmock/gmock.h>

namespace {

using namespace client;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class QueueBehaviour : public ::testing::Test {
 protected:
  Installation home;
};

TEST_F(QueueBehaviour, ADocumentTravelsFromSenderToJournal) {
  const auto sender = openQueue(u"Orders");
  call<&_Queue::put_MsgType>(sender, u"ORDER");
  call<&_Queue::put_Object>(sender, u"Invoice");
  EXPECT_EQ(call<&_Queue::get_MsgType>(sender), u"ORDER");
  const std::u16string odd{u'<', 0, 0xD800, u'€', 0xD83D, 0xDE00, u'\n', 0xDC00};
  send(sender, odd);
  send(sender, u"");
  EXPECT_EQ(call<&_Queue::get_LastDocument>(sender), u"");

  const auto receiver = openQueue(u"orders");  // letter case does not count
  const auto first = receive(receiver);
  EXPECT_EQ(bodyOf(first), odd);
  EXPECT_EQ(idOf(first), idOf(receive(receiver)));  // it waits until it is acknowledged
  EXPECT_EQ(call<&_Message::get_Label>(first), u"Msg Type: <ORDER> Object: <Invoice> ");
  EXPECT_EQ(call<&_Message::get_BodyLength>(first), static_cast<std::int32_t>(odd.size()));
  acknowledge(receiver, first);
  acknowledge(receiver, first);  // twice is as good as once
  acknowledge(receiver, receive(receiver));
  EXPECT_FALSE(receive(receiver));
  EXPECT_TRUE(call<&_Queue::raw_IsEmpty>(receiver));
  EXPECT_THAT(journaled(u"Orders"), ElementsAre(odd, u""));
  EXPECT_THAT(waiting(u"Orders"), IsEmpty());
}

TEST_F(QueueBehaviour, ListsBrowseWithoutTaking) {
  const auto sender = openQueue(u"O'Brien's [queue] %_");
  for (const char16_t* text : {u"a", u"b", u"c"}) send(sender, text);
  const auto queue = listed(u"o'brien's [QUEUE] %_");
  const auto messages = call<&_Queue::get_Messages>(queue);
  EXPECT_EQ(call<&_Messages::get_Count>(messages), 0);
  EXPECT_THAT(bodies(messages), ElementsAre(u"a", u"b", u"c"));
  const auto second = at(messages, std::int32_t{2});
  EXPECT_EQ(idOf(second), u"0000000000000000002");
  EXPECT_EQ(bodyOf(at(messages, u"0000000000000000002")), u"b");
  Variant key(u"0000000000000000002");
  call<&_Messages::raw_Remove>(messages, key);
  EXPECT_EQ(call<&_Messages::get_Count>(messages), 2);
  EXPECT_THAT(bodies(messages), ElementsAre(u"a", u"b", u"c"));
  call<&_Queue::raw_AcknowledgeDocument>(sender, idOf(second));  // leading zeros are allowed
  EXPECT_THAT(waiting(u"O'Brien's [queue] %_"), ElementsAre(u"a", u"c"));
  EXPECT_THAT(journaled(u"O'Brien's [queue] %_"), ElementsAre(u"b"));
}

TEST_F(QueueBehaviour, QueuesAreListedTestedAddedAndForgotten) {
  const auto queues = openQueues();
  EXPECT_EQ(call<&_Queues::get_Count>(queues), 0);
  const auto added = call<&_Queues::raw_Add>(queues, u"Äpfel");
  send(added, u"x");
  send(openQueue(u"Elsewhere"), u"y");  // a send registers its queue
  EXPECT_TRUE(call<&_Queues::raw_Exists>(queues, u"äPFEL"));
  EXPECT_TRUE(call<&_Queues::raw_Exists>(queues, u"Elsewhere"));
  EXPECT_FALSE(call<&_Queues::raw_Exists>(queues, u"Nowhere"));
  EXPECT_EQ(call<&_Queues::get_Count>(queues), 1);
  call<&_Queues::raw_Refresh>(queues);
  EXPECT_EQ(call<&_Queues::get_Count>(queues), 2);
  EXPECT_EQ(call<&_Queues::get_Item>(queues, Variant(u"elsewhere")).get(),
            call<&_Queues::get_Item>(queues, Variant(std::int32_t{1})).get());
  call<&_Queues::raw_Remove>(queues, Variant(u"Elsewhere"));
  EXPECT_EQ(call<&_Queues::get_Count>(queues), 1);
  EXPECT_EQ(errorNumber([&] { call<&_Queues::raw_Add>(queues, u"ÄPFEL"); }), 457);
  call<&_Queue::raw_SendDocument>(call<&_Queues::raw_Add>(queues, u"Elsewhere"), u"z");
  EXPECT_THAT(waiting(u"Elsewhere"), ElementsAre(u"y", u"z"));
  call<&_Utility::raw_CreateQueue>(create<_Utility>(u"CorvaneQueue.Utility"),
                                   u"elsewhere");  // is there already
  EXPECT_EQ(call<&_Queues::get_Count>(openQueues()), 2);
}

TEST_F(QueueBehaviour, MessagesAreCopiedAndDeletedByOperators) {
  const auto from = openQueue(u"From");
  call<&_Queue::put_MsgID>(from, u"7");
  send(from, u"one");
  send(from, u"two");
  const auto messages = call<&_Queue::get_Messages>(listed(u"From"));
  call<&_Messages::raw_Refresh>(messages);
  const auto to = openQueue(u"To");
  call<&_Queue::raw_SendMessage>(to, at(messages, std::int32_t{1}));
  call<&_Queue::raw_SendMessage>(listed(u"To"),
                                 at(messages, std::int32_t{2}));  // the list's queue does it too
  EXPECT_THAT(waiting(u"To"), ElementsAre(u"one", u"two"));
  EXPECT_EQ(call<&_Message::get_Label>(receive(to)), u"MsgID: <7> ");
  call<&_Queue::raw_AcknowledgeMessage>(from, at(messages, std::int32_t{1}));
  call<&_Queue::raw_AcknowledgeMessage>(listed(u"From"), at(messages, std::int32_t{2}));
  EXPECT_THAT(waiting(u"From"), IsEmpty());
  EXPECT_THAT(journaled(u"From"), ElementsAre(u"one", u"two"));
}

TEST_F(QueueBehaviour, PurgingQueueAndJournalAreTwoThings) {
  const auto queue = openQueue(u"Orders");
  send(queue, u"acknowledged");
  acknowledge(queue, receive(queue));
  send(queue, u"waiting");
  send(openQueue(u"Other"), u"other");
  call<&_Queue::raw_Purge>(queue);
  EXPECT_THAT(waiting(u"Orders"), IsEmpty());
  EXPECT_THAT(journaled(u"Orders"), ElementsAre(u"acknowledged"));
  send(queue, u"again");
  call<&_Journal::raw_Purge>(call<&_Queue::get_Journal>(listed(u"Orders")));
  EXPECT_THAT(journaled(u"Orders"), IsEmpty());
  EXPECT_THAT(waiting(u"Orders"), ElementsAre(u"again"));
  EXPECT_THAT(waiting(u"Other"), ElementsAre(u"other"));
}

TEST_F(QueueBehaviour, TransactionsCommitTogetherOrNotAtAll) {
  const auto queue = openQueue(u"Orders");
  EXPECT_EQ(toInt32(call<&_Queue::raw_BeginTransaction>(queue).get()), 1);
  EXPECT_EQ(toInt32(call<&_Queue::raw_BeginTransaction>(queue).get()), 0);
  send(queue, u"one");
  send(queue, u"two");
  EXPECT_EQ(call<&_Queues::get_Count>(openQueues()), 0);  // not even the queue is to be seen
  call<&_Queue::raw_Commit>(queue);
  EXPECT_THAT(waiting(u"Orders"), ElementsAre(u"one", u"two"));
  call<&_Queue::raw_BeginTransaction>(queue);
  acknowledge(queue, receive(queue));
  call<&_Queue::raw_Abort>(queue);
  EXPECT_THAT(waiting(u"Orders"), ElementsAre(u"one", u"two"));
  {
    const auto released = openQueue(u"Orders");
    call<&_Queue::raw_BeginTransaction>(released);
    send(released, u"gone");
  }  // its end aborts
  EXPECT_THAT(waiting(u"Orders"), ElementsAre(u"one", u"two"));
}

TEST_F(QueueBehaviour, BackEndObjectsHaveOneIdentity) {
  send(openQueue(u"Orders"), u"x");
  const auto queue = listed(u"Orders");
  const auto identity = query<IUnknown>(queue.get());
  EXPECT_EQ(query<IUnknown>(query<IDispatch>(identity.get()).get()).get(), identity.get());
  EXPECT_EQ(call<&_Queue::get_Messages>(queue).get(), call<&_Queue::get_Messages>(queue).get());
  // The default member of a late-bound client is that of the public interface.
  Variant asObject{Ref<IDispatch>(queue)};
  EXPECT_EQ(toString(asObject.get()), u"Orders");
}

TEST_F(QueueBehaviour, TheUtilityChangesWhatEverybodySees) {
  const auto utility = create<_Utility>(u"CorvaneQueue.Utility");
  EXPECT_EQ(call<&_Utility::get_QueueStoreType>(utility), u"db");
  call<&_Utility::put_UsesPublicQueues>(utility, false);
  EXPECT_FALSE(call<&_Utility::get_UsesPublicQueues>(create<_Utility>(u"corvanequeue.UTILITY")));
  EXPECT_EQ(call<&_Utility::raw_FormatQueuePathName>(utility, u"Orders"), u".\\PRIVATE$\\Orders");
  call<&_Utility::put_QueueStoreType>(utility, u"MSMQ");
  EXPECT_NE(home.read("settings.toml").find("QueueStoreType = \"msmq\""), std::string::npos);
  EXPECT_EQ(call<&_Queues::get_Count>(openQueues()), 0);
}

}  // namespace
