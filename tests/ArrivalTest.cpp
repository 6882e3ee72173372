// Arrival events and the queue directory, end to end on the embedded queue service.
#include "Expect.h"
#include "Processes.h"
#include "Queuing.h"
#include "Stores.h"

#include <gmock/gmock.h>
#include <sstream>

namespace {

using namespace stores;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

Queue openQueue(const char* name) { return stores::openQueue(Store::MessageQueuing, name); }
void deleteQueue(std::u16string_view path) { call<&IMSMQQueueInfo::raw_Delete>(queuing::infoOf(path)); }
template <class Condition>
void pumpUntil(Condition&& holds) {
  while (!holds()) Apartment::current().pump(1s);
}
// As a client that comes back.
void enableAnew(const Queue& queue) {
  queue->Abort();
  queue->ReceiveDisable();
  queue->ReceiveEnable();
}

class Arrival : public ::testing::Test {
 protected:
  // Lines of the log.
  Texts logged(const std::string& procedure) const {
    Texts lines;
    std::istringstream log(home.read("log/corvane.log"));
    for (std::string line; std::getline(log, line);)
      if (line.find('"' + procedure + '"') != std::string::npos) lines.push_back(line);
    return lines;
  }
  // Notes what arrives, and acknowledges it.
  Subscription taking(const Queue& queue) {
    return queue->evtArrived([this, &queue](String& document, String&) {
      arrived.push_back(toUtf8(document));
      queue->AcknowledgeDocument();
    });
  }
  Installation home{""};
  Texts arrived;
};

TEST_F(Arrival, AnnouncesOneDocumentAtATime) {
  const Gate isListening;
  const Child sender = inProcess(
      [](const Arguments& given) {
        Gate(given[0]).pass();
        auto queue = openQueue("Orders");
        queue->MsgType("ORDER");
        for (const char* text : {"one", "two", "thrée"}) queue->SendDocument(text);
      },
      {isListening.name()});
  auto orders = openQueue("Orders");
  auto subscription = orders->evtArrived([&](String& document, String& id) {
    EXPECT_EQ(id.size(), 10u);
    EXPECT_EQ(orders->MsgType(), u"ORDER");
    arrived.push_back(toUtf8(document));
    document = u"changed";
    orders->AcknowledgeDocument(id);
  });
  orders->ReceiveEnable();
  isListening.open();
  pumpUntil([&] { return arrived.size() == 3; });
  EXPECT_THAT(arrived, ElementsAre("one", "two", "thrée"));
  EXPECT_TRUE(succeeded(sender));
  EXPECT_EQ(orders->LastDocument(), u"changed");
  EXPECT_TRUE(orders->IsEmpty());
}

TEST_F(Arrival, ItsHandlerMayInitializeTheQueueAndThrow) {
  auto orders = openQueue("Orders");
  const auto arrivals = orders->evtArrived([&](String&, String&) {
    orders->Initialize("Elsewhere");
    throw std::runtime_error("a handler that throws");
  });
  orders->ReceiveEnable();
  orders->SendDocument("x");
  EXPECT_THROW(pumpUntil([] { return false; }), std::runtime_error);
  EXPECT_EQ(orders->Name(), u"Elsewhere");
  EXPECT_THAT(waiting("Orders"), ElementsAre("x"));  // its transaction ended with the back end
}

TEST_F(Arrival, OfAnotherQueueComesWhileAHandlerPumps) {
  const Queue queues[] = {openQueue("First"), openQueue("Second")};
  const auto onSecond = taking(queues[1]);
  const auto onFirst = queues[0]->evtArrived([&](String& document, String&) {
    pumpUntil([&] { return !arrived.empty(); });
    arrived.push_back(toUtf8(document));
    queues[0]->AcknowledgeDocument();
  });
  for (const auto& queue : queues) queue->SendDocument(queue->Name());
  for (const auto& queue : queues) queue->ReceiveEnable();
  pumpUntil([&] { return arrived.size() == 2; });
  EXPECT_THAT(arrived, ElementsAre("Second", "First"));
}

TEST_F(Arrival, OfADeadReceiverIsAnnouncedToTheNextOnce) {
  openQueue("Orders")->SendDocument("survives");
  const Gate isHandled;
  const Gate never;
  const Child first = inProcess(
      [](const Arguments& given) {
        auto queue = openQueue("Orders");
        const auto arrivals = queue->evtArrived([&](String&, String&) {
          Gate(given[0]).open();
          Gate(given[1]).pass();
        });
        queue->ReceiveEnable();
        pumpUntil([] { return false; });
      },
      {isHandled.name(), never.name()});
  isHandled.pass();
  auto next = openQueue("Orders");
  const auto arrivals = taking(next);
  next->ReceiveEnable();
  Apartment::current().pump(50ms);
  EXPECT_THAT(arrived, IsEmpty());
  killed(first);
  pumpUntil([&] { return !arrived.empty(); });
  Apartment::current().pump(300ms);
  EXPECT_THAT(arrived, ElementsAre("survives"));
  EXPECT_TRUE(next->IsEmpty());
}

TEST_F(Arrival, EndsWithAnErrorWhenQueueOrStoreIsGoneAndGoesOnWithWhatIsThereNow) {
  using namespace std::filesystem;
  const path storage = home.file("msmq/storage");
  const path copied = home.file("copied");
  const std::pair<std::int32_t, std::function<void()>> ends[] = {
      {MQ_ERROR_QUEUE_DELETED, [] { deleteQueue(u".\\Orders"); }},
      {MQ_ERROR_QUEUE_DELETED,
       [] {
         deleteQueue(u".\\Orders");
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
  const auto arrivals = taking(orders);
  const auto sendAndTake = [&](const std::string& text) {
    openQueue("Orders")->SendDocument(text);
    pumpUntil([&] { return !arrived.empty() && arrived.back() == text; });
  };
  for (const auto& [number, end] : ends) {
    orders->ReceiveEnable();
    sendAndTake("before");
    arrived.clear();
    const std::size_t lines = logged("Arrived").size();
    end();
    const auto late = std::chrono::steady_clock::now() + 30s;
    expectError(number, nullptr, "queue \".\\Orders\"",
                [&] { pumpUntil([&] { return std::chrono::steady_clock::now() > late; }); });
    Apartment::current().pump(10ms);
    EXPECT_THAT(arrived, IsEmpty());
    EXPECT_EQ(logged("Arrived").size(), lines + 1);
    enableAnew(orders);
    sendAndTake("after");
  }
}

// As beside Queue::evtArrived.
TEST_F(Arrival, WhoseHandlerThrowsIsPutBackOrGivenUp) {
  auto orders = openQueue("Orders");
  const auto rejected = openQueue("Rejected");
  for (const char* text : {"bad", "good"}) orders->SendDocument(text);
  struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
  };
  std::size_t refusals = 0;
  const auto arrivals = orders->evtArrived([&](String& document, String&) {
    if (document == u"bad") throw Refused("refused " + std::to_string(++refusals));
    orders->AcknowledgeDocument();
  });
  const auto expectRefusal = [&] {
    const auto before = refusals;
    EXPECT_THROW(pumpUntil([&] { return refusals > before; }), Refused);  // the handler's own
  };
  const auto pumpUntilJournaled = [](std::size_t count) {
    pumpUntil([&] { return journaled("Orders").size() >= count; });
  };
  orders->ReceiveEnable();
  for (std::size_t i = 1; i <= 2; ++i) {
    expectRefusal();
    Apartment::current().pump(10ms);  // nothing more
    EXPECT_EQ(refusals, i);
    EXPECT_EQ(logged("evtArrived").size(), i);
    enableAnew(orders);
  }
  EXPECT_THAT(logged("evtArrived").back(),
              ::testing::AllOf(HasSubstr("\\\"Orders\\\""), HasSubstr("0000000001"), HasSubstr("refused 2")));
  expectRefusal();
  rejected->Transaction(orders->Transaction());
  rejected->SendDocument(orders->LastDocument());
  rejected->Transaction(Variant());
  orders->AcknowledgeDocument();
  pumpUntilJournaled(2);
  EXPECT_THAT(journaled("Orders"), ElementsAre("bad", "good"));
  EXPECT_THAT(waiting("Rejected"), ElementsAre("bad"));
  EXPECT_THAT(waiting("Orders"), IsEmpty());
  // One that is put back is not finished by the acknowledgement of another, which is faster here.
  orders->SendDocument("bad");
  expectRefusal();
  orders->Abort();
  const auto other = openQueue("Orders");
  EXPECT_EQ(Receiver(Store::MessageQueuing, other).take(5s), "bad");
  other->ReceiveDisable();
  orders->ReceiveEnable();
  orders->SendDocument("good");
  pumpUntilJournaled(4);
  EXPECT_THAT(journaled("Orders"), ElementsAre("bad", "good", "bad", "good"));
}

Texts listedNames() {
  Texts names;
  const auto queues = create<Queues>();
  for (const auto& queue : queues) names.push_back(toUtf8(queue->Name()));
  return names;
}

TEST(QueueDirectory, IsThatOfTheInstallationAlsoOnceItWasCopiedOrMoved) {
  namespace fs = std::filesystem;
  const auto use = [](const fs::path& directory) { setVariable("CORVANE_HOME", directory); };
  const Installation original("");
  openQueue("Orders")->SendDocument("x");
  const Installation copy("");
  EXPECT_THAT(listedNames(), IsEmpty());
  fs::copy(original.directory(), copy.directory(),
           fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  use(original.directory());
  openQueue("Later")->SendDocument("y");
  use(copy.directory());
  EXPECT_THAT(listedNames(), ElementsAre("Orders"));
  const fs::path moved = copy.directory().string() + "-moved";
  fs::rename(copy.directory(), moved);
  use(moved);
  EXPECT_THAT(listedNames(), ElementsAre("Orders"));
  EXPECT_THAT(waiting("Orders"), ElementsAre("x"));
  fs::remove_all(moved);
}

TEST(QueueDirectory, FilesThatAreNoneAreNotListedAndABadNumberIsTold) {
  const Installation home("");
  openQueue("Orders")->SendDocument("x");
  const auto file = [&](const char* name, std::string_view content) {
    std::ofstream(home.directory() / "msmq/storage/lqs" / name, std::ios::binary) << content;
  };
  using namespace std::string_view_literals;
  file("empty", "");
  file("binary", "\0\xFF[Properties]\0QueueName=no\r\n\xC3\x28=\0"sv);
  file("system", "[Properties]\nSystemQueue=01\nQueueName=system\n");
  EXPECT_THAT(listedNames(), ElementsAre("Orders"));
  file("number", "[Properties]\nSystemQueue=many\nQueueName=x\n");
  expectError(ErrorNumber::TypeMismatch, nullptr, "many", [] { listedNames(); });
  EXPECT_FALSE(openQueue("Orders")->IsEmpty());  // the queues themselves work
}

}  // namespace
