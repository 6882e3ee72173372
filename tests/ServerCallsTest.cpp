// What a SQL Server is asked, call by call, and what becomes of its answers.
#include "Expect.h"
#include "Installation.h"
#include "RecordingOdbc.h"

#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/Operations.h>
#include <CorvaneQueue/serverStore.h>
#include <CorvaneQueue/Worker.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <regex>
#include <set>

namespace {

using namespace CorvaneQueue;
using ::testing::HasSubstr;

RecordedOdbc& driver() {
  static RecordedOdbc& found = *[] {
    void* const module = dlopen(RECORDING_ODBC, RTLD_NOW | RTLD_LOCAL);
    const auto give =
        reinterpret_cast<RecordedOdbc* (*)()>(module == nullptr ? nullptr : dlsym(module, "recordedOdbc"));
    if (give == nullptr) throw std::runtime_error(dlerror());
    return give();
  }();
  return found;
}

class ServerCalls : public ::testing::Test {
 protected:
  ServerCalls() {
    driver() = {};
    std::ofstream(home.file("password")) << "Secret;1}\n";
    std::filesystem::permissions(home.file("password"), std::filesystem::perms::owner_read);
    // Of its own for each test, so that no connection of another one is idle.
    static int database = 0;
    home.writeSettings(
        "[Configuration.Global]\nQueueStoreType = \"db\"\n[Platform.MessageStore]\nEngine = \"sqlserver\"\n"
        "PasswordFile = \"password\"\nConnection = \"Driver=" RECORDING_ODBC
        ";Server=sql.example;UID=corvane;Database=test" +
        std::to_string(++database) + "\"\n");
  }
  void answer(OdbcAnswer answer) { driver().answers.push_back(std::move(answer)); }
  void step(const std::string& what) { driver().transcript += "-- " + what + "\n"; }
  int count(const std::string& part) {
    int found = 0;
    for (auto at = driver().transcript.find(part); at != std::string::npos;
         at = driver().transcript.find(part, at + 1))
      ++found;
    return found;
  }
  ~ServerCalls() override {
    if (HasFailure()) std::cerr << driver().transcript;
  }
  Queue open() {
    auto queue = create<Queue>();
    queue->Initialize("O'Brien");
    return queue;
  }
  Installation home;
};

constexpr const char* keysAreTaken = "sys.procedures";
const OdbcAnswer takesKeys{.to = keysAreTaken, .columns = "n", .rows = {{"1"}}};
const OdbcAnswer document{
    .to = "mdqGetMessagesTrans",
    .columns = "nstss",
    .rows = {{"7", "Msg Type: <ORDER> ", "2026-11-24 08:30:01", "idoc", std::string(5000, 'x')}}};

TEST_F(ServerCalls, AreThoseOfTheGoldenFile) {
  step("a queue is created");
  create<Utility>()->CreateQueue("O'Brien");
  auto queue = open();
  step("a document is sent");
  answer(takesKeys);
  answer({.to = "mdqCreateMessageOnce", .output = 7});
  queue->Object("Größe");
  queue->SendDocument(u"\x20AC'\xD83D\xDE00" + std::u16string(4100, u'y'));
  step("two in a transaction, with a body that is empty");
  queue->BeginTransaction();
  for (const char* text : {"one", ""}) queue->SendDocument(text);
  queue->Commit();
  step("one is received and acknowledged");
  answer(document);
  queue->BeginTransaction();
  const auto message = queue->ReceiveNext();
  EXPECT_EQ(message->Body().size(), 5000u);
  queue->AcknowledgeMessage(message);
  queue->Commit();
  step("given up");
  answer(document);
  queue->BeginTransaction();
  queue->ReceiveNext();
  queue->Abort();
  step("listed, the journal too, and counted");
  answer(document);
  answer({.to = "mdqMessageAck", .columns = "nstss", .rows = document.rows});
  answer({.to = "COUNT(*)", .columns = "n", .rows = {{"1"}}});
  answer({.to = "[MessageTypeID] ,[Name] ,[Queue]", .columns = "nss", .rows = {{"1", "idoc", "O'Brien"}}});
  const auto listed = create<Queues>()->Item("O'Brien");
  listed->Messages()->Refresh();
  EXPECT_EQ(listed->Messages()->Count(), 1);
  listed->Journal()->Messages()->Refresh();
  EXPECT_FALSE(queue->IsEmpty());
  step("looked for");
  answer({.to = "Count(*)", .columns = "n", .rows = {{"1"}}});
  EXPECT_TRUE(create<Queues>()->Exists("O'Brien"));
  step("purged");
  queue->Purge();
  listed->Journal()->Purge();
  step("operated");
  const OdbcAnswer content{.to = "mdqQueueContent",
                           .columns = "nnnnnnnn",
                           .rows = {{"1", "8", "0", "0", "0", "1795509001", "1795509001", "-1"}}};
  const OdbcAnswer read{.to = "mdqReadMessages",
                        .columns = "nsnnns",
                        .rows = {{"7", "label", "1795509001", "-1", "8", "text"}}};
  answer(content);
  EXPECT_EQ(create<Operations>()->Statistics("O'Brien")->WaitingBytes(), 8);
  step("moved");
  driver().answers = {
      read, content, read, {.to = "mdqChangeMessages", .columns = "nn", .rows = {{"1", "0"}}}};
  EXPECT_EQ(create<Operations>()->Move("O'Brien", false, "Other"), 1);
  step("a worker has one");
  driver().answers = {document, {.to = "mdqBeginAttempt", .columns = "n", .rows = {{"1"}}}};
  Worker worker("O'Brien", [](const WorkerDocument&) {});
  worker.runUntilEmpty();
  EXPECT_EQ(worker.done(), 1);
  // What differs from run to run: the place of the driver is not noted, the time and the keys are.
  std::string seen = std::regex_replace(driver().transcript,
                                        std::regex("20\\d\\d-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d"), "(now)");
  seen = std::regex_replace(seen, std::regex("'[0-9a-f]{8}-[0-9a-f-]{27}'"), "'(key)'");
  seen = std::regex_replace(seen, std::regex("y{4100}"), "(4100 y)");
  const char* const golden = GOLDEN_DIRECTORY "/ServerCalls.AreThoseOfTheGoldenFile.txt";
  if (std::getenv("CORVANE_WRITE_GOLDEN") != nullptr) std::ofstream(golden) << seen;
  std::ifstream stream(golden);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), seen)
      << "If the change is meant: run this test once with CORVANE_WRITE_GOLDEN=1 and review the file.";
}

// As that server documents them: state, number, and what it leaves of the transaction.
TEST_F(ServerCalls, FailuresAreToldAsTheyAreOnEveryStore) {
  struct Failure {
    OdbcAnswer answer;
    std::int32_t number;
    const char* part;
    int calls;  // of the procedure
  };
  constexpr const char* acknowledging = "call [dbo].[mdqAckReceive]";
  const Failure failures[] = {
      {{.to = acknowledging, .state = "40001", .native = 1205, .text = "was deadlocked on lock resources"},
       0,
       "",
       2},
      {{.to = acknowledging,
        .state = "42000",
        .native = 3960,
        .text = "Snapshot isolation transaction aborted"},
       0,
       "",
       2},
      {{.to = acknowledging,
        .state = "08S01",
        .native = 0,
        .text = "Communication link failure",
        .isConnectionLost = true},
       0,
       "",
       2},
      {{.to = acknowledging, .state = "HYT00", .native = 0, .text = "Query timeout expired"},
       static_cast<std::int32_t>(0x80040E31u),
       "Timeout",
       1},
      {{.to = acknowledging, .state = "42000", .native = 1222, .text = "Lock request time out"},
       static_cast<std::int32_t>(0x80040E31u),
       "",
       1},
      {{.to = acknowledging, .state = "23000", .native = 2627, .text = "Violation of PRIMARY KEY"},
       static_cast<std::int32_t>(0x80040E2Fu),
       "",
       1},
      {{.to = acknowledging, .state = "42000", .native = 229, .text = "The EXECUTE permission was denied"},
       static_cast<std::int32_t>(0x80040E09u),
       "database check",
       1},
      {{.to = acknowledging, .state = "42000", .native = 2812, .text = "Could not find stored procedure"},
       static_cast<std::int32_t>(0x80040E14u),
       "database check",
       1},
      {{.to = acknowledging, .state = "42000", .native = 50000, .text = "A queue needs a name"},
       ErrorNumber::InvalidArgument,
       "A queue needs a name",
       1},
      {{.to = acknowledging,
        .state = "42000",
        .native = 1105,
        .text = "Could not allocate space for Secret;1}"},
       E_FAIL,
       "allocate space for ***",
       1},
      {{.to = acknowledging, .state = "42000", .native = 9002, .text = "The transaction log is full"},
       E_FAIL,
       "disk is full",
       1},
  };
  auto queue = open();
  for (const Failure& failure : failures) {
    SCOPED_TRACE(failure.answer.text);
    driver().transcript = "-- \n";
    answer(failure.answer);
    const auto error = errorOf([&] { queue->AcknowledgeDocument("7"); });
    EXPECT_EQ(error ? error->number() : 0, failure.number);
    if (error) {
      EXPECT_THAT(error->what(), HasSubstr(failure.part));
    }
    EXPECT_EQ(count("execute with 7, 2"), failure.calls);
    EXPECT_TRUE(driver().answers.empty());
  }
  driver().refusedConnections = 2;
  answer({.to = "mdqAckReceive",
          .state = "08S01",
          .text = "Communication link failure",
          .isConnectionLost = true});
  expectError(E_FAIL, nullptr, "\" on \"sql.example\": Unable to connect",
              [&] { queue->AcknowledgeDocument("7"); });
  queue->AcknowledgeDocument("7");  // it is back
}

// A deadlock's victim has lost all of its transaction there, a statement that failed otherwise has not.
TEST_F(ServerCalls, InATransactionWhatWasLostIsToldAndWhatWasNotStands) {
  auto queue = open();
  queue->BeginTransaction();
  queue->SendDocument("before");
  answer({.to = "mdqAckReceive", .state = "42000", .native = 50000, .text = "There is no document"});
  expectError(ErrorNumber::InvalidArgument, nullptr, "There is no document",
              [&] { queue->AcknowledgeDocument("4711"); });
  EXPECT_EQ(count("ROLLBACK TRANSACTION corvane_statement"), 1);
  queue->SendDocument("after");
  queue->Commit();
  EXPECT_EQ(count("COMMIT TRANSACTION"), 1);
  queue->BeginTransaction();
  queue->SendDocument("before");
  answer({.to = "mdqAckReceive", .state = "40001", .native = 1205, .text = "was deadlocked"});
  answer({.to = "ROLLBACK TRANSACTION corvane_statement",
          .state = "42000",
          .native = 6401,
          .text = "No savepoint of that name was found"});
  expectError(E_FAIL, nullptr, "was deadlocked). What the transaction did is undone",
              [&] { queue->AcknowledgeDocument("7"); });
  EXPECT_ANY_THROW(queue->Commit());
  queue->AcknowledgeDocument("7");
}

// A commit of which nobody knows: a single document is sent once more with its key, all else is reported.
TEST_F(ServerCalls, ACommitWithoutAnAnswerIsTriedOnceMoreByItsKey) {
  const OdbcAnswer lost{
      .to = "COMMIT", .state = "08S01", .text = "Communication link failure", .isConnectionLost = true};
  auto queue = open();
  answer(takesKeys);
  answer({.to = "mdqCreateMessageOnce", .output = 7});
  answer(lost);
  queue->SendDocument("text");
  const std::regex withKey("execute with 'idoc', .*'([0-9a-f-]{36})', output");
  std::set<std::string> keys;
  const std::string& seen = driver().transcript;
  for (std::sregex_iterator each(seen.begin(), seen.end(), withKey), end; each != end; ++each)
    keys.insert((*each)[1]);
  EXPECT_EQ(count("'text'"), 2);
  EXPECT_EQ(keys.size(), 1u);
  answer(lost);
  queue->BeginTransaction();
  queue->SendDocument("text");
  expectError(static_cast<std::int32_t>(0x8004D016u), nullptr, "not known", [&] { queue->Commit(); });
  driver().answers = {takesKeys, {.to = "mdqCreateMessageOnce", .output = 8}, lost};
  queue->IsEmpty();  // connects
  driver().refusedConnections = 100;
  expectError(static_cast<std::int32_t>(0x8004D016u), nullptr, "The document's identifier is 8",
              [&] { queue->SendDocument("text"); });
}

}  // namespace
