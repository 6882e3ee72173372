// Arrival events and the queue directory, end to end on the embedded queue service.
#include "Expect.h"
#include "Queuing.h"
#include "Stores.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <csignal>
#include <sstream>

namespace {

using namespace stores;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

Queue openQueue(const char* name) {
  auto queue = create<Queue>();
  queue->Initialize(name);
  return queue;
}

TEST(Arrival, AnnouncesOneDocumentAtATime) {
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
  EXPECT_THROW(while (!isInitialised) Apartment::current().pump(10s), std::runtime_error);
  EXPECT_EQ(again->Name(), u"Elsewhere");
  EXPECT_EQ(waiting("Again"), Texts{"x"});  // its transaction ended with the back end
}

TEST(Arrival, OfAnotherQueueComesWhileAHandlerPumps) {
  const Installation home("");
  auto first = openQueue("First");
  auto second = openQueue("Second");
  Texts arrived;
  const auto onSecond = second->evtArrived([&](String& document, String&) {
    arrived.push_back(toUtf8(document));
    second->AcknowledgeDocument();
  });
  const auto onFirst = first->evtArrived([&](String& document, String&) {
    while (arrived.empty()) Apartment::current().pump(10s);
    arrived.push_back(toUtf8(document));
    first->AcknowledgeDocument();
  });
  first->SendDocument("first");
  second->SendDocument("second");
  first->ReceiveEnable();
  second->ReceiveEnable();
  while (arrived.size() < 2) Apartment::current().pump(10s);
  EXPECT_THAT(arrived, ElementsAre("second", "first"));
}

TEST(Arrival, OfADeadReceiverIsAnnouncedToTheNextOnce) {
  const Installation home("");
  openQueue("Orders")->SendDocument("survives");
  int arrived[2];
  ASSERT_EQ(pipe(arrived), 0);
  const pid_t first = fork();
  if (first == 0) {
    auto queue = openQueue("Orders");
    const auto arrivals = queue->evtArrived([&](String&, String&) {
      if (write(arrived[1], "x", 1) == 1) pause();
    });
    queue->ReceiveEnable();
    while (true) Apartment::current().pump(10s);
  }
  char byte;
  ASSERT_EQ(read(arrived[0], &byte, 1), 1);
  auto next = openQueue("Orders");
  int announced = 0;
  const auto arrivals = next->evtArrived([&](String& document, String&) {
    EXPECT_EQ(document, u"survives");
    ++announced;
    next->AcknowledgeDocument();
  });
  next->ReceiveEnable();
  Apartment::current().pump(50ms);
  EXPECT_EQ(announced, 0);
  kill(first, SIGKILL);
  waitpid(first, nullptr, 0);
  while (announced == 0) Apartment::current().pump(10s);
  Apartment::current().pump(300ms);
  EXPECT_EQ(announced, 1);
  EXPECT_TRUE(next->IsEmpty());
}

TEST(Arrival, OfADamagedBodyIsReportedAndNotAnnounced) {
  const Installation home("");
  auto orders = std::make_unique<Queue>(openQueue("Orders"));
  int announced = 0;
  auto arrivals = (*orders)->evtArrived([&](String&, String&) { ++announced; });
  (*orders)->ReceiveEnable();
  const auto damaged = queuing::messageOf("this is no compressed text");
  call<&IMSMQMessage::put_AppSpecific>(damaged, 1);
  const auto sender = queuing::open(u".\\Orders", MQ_SEND_ACCESS);
  IDispatch* const queue = sender.get();
  call<&IMSMQMessage::raw_Send>(damaged, queue, queuing::alone().argument());
  const auto log = [&] { return home.read("log/corvane.log"); };
  while (log().find("\"mobjMSMQQueueEvent_Arrived\" error 100") == std::string::npos)
    Apartment::current().pump(1s);
  openQueue("Orders")->SendDocument("behind it");
  Apartment::current().pump(50ms);
  EXPECT_THAT(waiting("Orders"), ElementsAre("behind it"));  // pending, and nothing is armed
  orders = nullptr;
  expectError(100, u"Decompress", "Decompression failed", [] { waiting("Orders"); });  // back in its place
}

// The log's lines of this procedure.
Texts logged(const Installation& home, const std::string& procedure) {
  Texts lines;
  std::istringstream log(home.read("log/corvane.log"));
  for (std::string line; std::getline(log, line);)
    if (line.find('"' + procedure + '"') != std::string::npos) lines.push_back(line);
  return lines;
}

TEST(Arrival, EndsWithAnErrorWhenQueueOrStoreIsGoneAndGoesOnWithWhatIsThereNow) {
  const Installation home("");
  using namespace std::filesystem;
  const path storage = home.file("msmq/storage");
  const path copied = home.file("copied");
  const auto remove = [] { call<&IMSMQQueueInfo::raw_Delete>(queuing::infoOf(u".\\Orders")); };
  const std::pair<std::int32_t, std::function<void()>> ends[] = {
      {MQ_ERROR_QUEUE_DELETED, remove},
      {MQ_ERROR_QUEUE_DELETED,
       [&] {
         remove();
         openQueue("Orders")->SendDocument("made again");
       }},
      {E_FAIL,
       [&] {  // with a document in it that is not to be announced from the store that is gone
         openQueue("Orders")->SendDocument("gone");
         copy(storage, copied, copy_options::recursive);
         remove_all(storage);
       }},
      {E_FAIL,
       [&] {
         rename(storage, home.file("moved"));
         rename(copied, storage);
       }},
      {E_FAIL, [&] {
         copy_file(storage / "queues.db", copied);
         rename(copied, storage / "queues.db");
       }}};
  auto orders = openQueue("Orders");
  Texts arrived;
  const auto arrivals = orders->evtArrived([&](String& document, String&) {
    arrived.push_back(toUtf8(document));
    orders->AcknowledgeDocument();
  });
  const auto pumpUntilArrived = [&](const std::string& text) {
    while (arrived.empty() || arrived.back() != text) Apartment::current().pump(1s);
  };
  for (const auto& [number, end] : ends) {
    orders->ReceiveEnable();
    openQueue("Orders")->SendDocument("before");
    pumpUntilArrived("before");
    arrived.clear();
    const std::size_t lines = logged(home, "Arrived").size();
    end();
    expectError(number, nullptr, "queue \".\\Orders\"", [] {
      for (const auto until = std::chrono::steady_clock::now() + 30s;
           std::chrono::steady_clock::now() < until;)
        Apartment::current().pump(1s);
    });
    Apartment::current().pump(10ms);
    EXPECT_THAT(arrived, IsEmpty());
    EXPECT_EQ(logged(home, "Arrived").size(), lines + 1);
    orders->Abort();
    orders->ReceiveDisable();
    orders->ReceiveEnable();
    openQueue("Orders")->SendDocument("after");
    pumpUntilArrived("after");
  }
  const auto handle = openQueue("Deleted");
  handle->SendDocument("x");
  call<&IMSMQQueueInfo::raw_Delete>(queuing::infoOf(u".\\Deleted"));
  expectError(MQ_ERROR_QUEUE_DELETED, u"SendDocument", "deleted", [&] { handle->SendDocument("x"); });
  handle->Initialize("Deleted");  // made anew
  handle->SendDocument("y");
  EXPECT_THAT(waiting("Deleted"), ElementsAre("y"));
}

// As beside Queue::evtArrived.
TEST(Arrival, WhoseHandlerThrowsIsPutBackOrGivenUp) {
  const Installation home("");
  auto orders = openQueue("Orders");
  orders->JournalEnabled(true);
  const auto rejected = openQueue("Rejected");
  for (const char* text : {"bad", "good"}) orders->SendDocument(text);
  struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
  };
  int refusals = 0;
  const auto arrivals = orders->evtArrived([&](String& document, String&) {
    if (document == u"bad") throw Refused("refused " + std::to_string(++refusals));
    orders->AcknowledgeDocument();
  });
  orders->ReceiveEnable();
  const auto pumpUntilRefused = [&] {
    const int before = refusals;
    do Apartment::current().pump(1s);
    while (refusals == before);
  };
  for (int i = 0; i < 2; ++i) {
    EXPECT_THROW(pumpUntilRefused(), Refused);  // the handler's own
    Apartment::current().pump(10ms);            // nothing more
    EXPECT_EQ(refusals, i + 1);
    EXPECT_EQ(logged(home, "evtArrived").size(), static_cast<std::size_t>(i + 1));
    orders->Abort();
    orders->ReceiveDisable();
    orders->ReceiveEnable();
  }
  EXPECT_THAT(logged(home, "evtArrived").back(),
              ::testing::AllOf(::testing::HasSubstr("\\\"Orders\\\""), ::testing::HasSubstr("0000000001"),
                               ::testing::HasSubstr("refused 2")));
  EXPECT_THROW(pumpUntilRefused(), Refused);
  rejected->Transaction(orders->Transaction());
  rejected->SendDocument(orders->LastDocument());
  rejected->Transaction(Variant());
  orders->AcknowledgeDocument();
  while (journaled("Orders").size() < 2) Apartment::current().pump(1s);
  EXPECT_THAT(journaled("Orders"), ElementsAre("bad", "good"));
  EXPECT_THAT(waiting("Rejected"), ElementsAre("bad"));
  EXPECT_THAT(waiting("Orders"), IsEmpty());
  // One that is put back is not finished by the acknowledgement of another, which is faster here.
  orders->SendDocument("bad");
  EXPECT_THROW(pumpUntilRefused(), Refused);
  orders->Abort();
  const auto other = openQueue("Orders");
  Receiver thief(Store::MessageQueuing, other);
  EXPECT_EQ(thief.take(5s), "bad");
  other->ReceiveDisable();
  orders->ReceiveEnable();
  orders->SendDocument("good");
  while (journaled("Orders").size() < 4) Apartment::current().pump(1s);
  EXPECT_THAT(journaled("Orders"), ElementsAre("bad", "good", "bad", "good"));
}

TEST(QueueDirectory, IsThatOfTheInstallationAlsoOnceItWasCopiedOrMoved) {
  const Installation original("");
  openQueue("Orders")->SendDocument("x");
  const auto list = [] {
    Texts names;
    const auto queues = create<Queues>();
    for (const auto& queue : queues) names.push_back(toUtf8(queue->Name()));
    return names;
  };
  const Installation copy("");
  EXPECT_THAT(list(), IsEmpty());
  EXPECT_FALSE(exists(copy.file("msmq")));  // looking makes nothing
  using namespace std::filesystem;
  std::filesystem::copy(original.directory(), copy.directory(),
                        copy_options::recursive | copy_options::overwrite_existing);
  setenv("CORVANE_HOME", original.directory().c_str(), 1);
  openQueue("Later")->SendDocument("y");
  setenv("CORVANE_HOME", copy.directory().c_str(), 1);
  EXPECT_THAT(list(), ElementsAre("Orders"));
  const path moved = copy.directory().string() + "-moved";
  rename(copy.directory(), moved);
  setenv("CORVANE_HOME", moved.c_str(), 1);
  EXPECT_THAT(list(), ElementsAre("Orders"));
  EXPECT_THAT(waiting("Orders"), ElementsAre("x"));
  remove_all(moved);
}

TEST(QueueDirectory, FilesThatAreNoneAreNotListedAndABadNumberIsTold) {
  const Installation home("");
  openQueue("Orders")->SendDocument("x");
  const auto file = [&](const char* name, std::string_view content) {
    std::ofstream(home.directory() / "msmq/storage/lqs" / name, std::ios::binary) << content;
  };
  file("empty", "");
  const char binary[] = "\0\xFF[Properties]\0QueueName=no\r\n\xC3\x28=\0";
  file("binary", {binary, sizeof binary});
  file("system", "[Properties]\nSystemQueue=01\nQueueName=system\n");
  file("probe", "[Properties]\nSystemQueue=00\nQueueName=mqping response\n");
  const auto queues = create<Queues>();
  EXPECT_EQ(queues->Count(), 1);
  file("number", "[Properties]\nSystemQueue=many\nQueueName=x\n");
  expectError(ErrorNumber::TypeMismatch, nullptr, "many", [&] { queues->Refresh(); });
  EXPECT_EQ(openQueue("Orders")->IsEmpty(), false);  // the queues themselves work
}

}  // namespace
