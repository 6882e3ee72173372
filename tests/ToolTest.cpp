// The operator tool as a process: results, messages and exit codes.
#include "Installation.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <algorithm>
#include <cstdio>

namespace {

struct Run {
  int code;
  std::string output;  // standard output, then standard error
};

Run run(const std::string& arguments) {
  const std::string command = "2>&1 " + std::string(CORVANEQ) + " " + arguments;
  FILE* pipe = popen(command.c_str(), "r");
  std::string output;
  for (int byte; (byte = fgetc(pipe)) != EOF;) output += static_cast<char>(byte);
  return {WEXITSTATUS(pclose(pipe)), output};
}

void expectRun(const std::string& arguments, int code, const std::string& part) {
  const Run result = run(arguments);
  EXPECT_EQ(result.code, code) << arguments << "\n" << result.output;
  EXPECT_NE(result.output.find(part), std::string::npos) << arguments << "\n" << result.output;
}

void expectLines(int count, const std::string& arguments) {
  EXPECT_EQ(std::ranges::count(run(arguments).output, '\n'), count) << arguments;
}

TEST(Tool, CarriesDocumentsFromFilesToFiles) {
  const Installation home("");
  std::ofstream(home.file("a.txt")) << "Grüße";
  std::ofstream(home.file("b.txt")) << "gr\xFC\xDF";
  std::ofstream(home.file("[c]")) << "brackets";
  const std::string a = home.file("a.txt").string();
  const std::string b = home.file("b.txt").string();
  expectRun("settings QueueStoreType db", 0, "QueueStoreType\tdb");
  expectRun("send Orders --msg-type ORDER " + a, 0, "sent\t" + a);
  expectRun("send Orders " + a + " " + b, 3, "is not a document: The text is not valid UTF-8 (byte 2)");
  expectRun("send Orders --encoding CP1252 " + b, 0, "sent");
  expectRun("send Orders - < " + a, 0, "sent\t-");
  expectRun("create [x,y]", 0, "created\t[x,y]");
  std::filesystem::current_path(home.directory());
  expectRun("send [x,y] '[c]'", 0, "sent\t[c]");
  std::filesystem::current_path("/");
  expectRun("receive [x,y]", 0, "brackets");
  expectRun("ack [x,y] 4", 0, "");
  expectRun("messages orders", 0, "Msg Type: <ORDER>");
  EXPECT_EQ(run("messages Orders").output.find("0000000000000000004"),
            std::string::npos);  // the bad file sent none
  expectRun("receive Orders", 0, "Grüße");
  expectRun("receive Orders --count 0", 2, "add --ack");
  expectRun("queues > /dev/full", 3, "Standard output cannot be written");
  const std::string out = home.file("out").string();
  std::filesystem::create_directory(out);
  const std::string first = home.file("out/0000000000000000001.txt").string();
  std::ofstream(first) << "of another queue";
  expectRun("receive Orders --ack --out " + out, 3, "is not overwritten");
  std::filesystem::remove(first);
  expectRun("receive Orders --count 2 --ack --out " + out, 0, "1.txt");
  EXPECT_EQ(home.read("out/0000000000000000001.txt"), "Grüße");
  EXPECT_EQ(home.read("out/0000000000000000002.txt"), "grüß");
}

TEST(Tool, WorksOnTheMessageQueuingStore) {
  const Installation home("");
  expectRun("status", 0, "store\tmsmq");
  for (const char* name : {"d1", "d2", "d3"}) std::ofstream(home.file(name)) << "document " << name;
  expectRun("send Orders --msg-type T " + home.directory().string() + "/d?", 0, "d3\t0000000003\n");
  expectRun("queues", 0, "Orders\n");
  expectLines(3, "messages Orders");
  expectRun("show Orders 1", 0, "document d1");
  expectRun("receive Orders", 0, "document d1");  // shown, and left
  expectRun("create Copies", 0, "");
  expectRun("ack Orders 2", 0, "acknowledged");
  expectRun("delete Orders 0000000003", 0, "deleted");
  expectRun("ack Orders 3", 4, "no document");
  const std::string out = home.file("out").string();
  expectLines(1, "receive Orders --count 0 --ack --out " + out);
  EXPECT_EQ(home.read("out/0000000001.txt"), "document d1");
  expectRun("receive Orders", 4, "");
  expectRun("queue Copies JournalEnabled true", 0, "JournalEnabled\ttrue");
  expectRun("--json queue Copies Quota 7", 0, "{\"name\":\"Quota\",\"value\":7}");
  expectRun("queue Copies", 0, "JournalEnabled\ttrue\nQuota\t7\nJournalQuota\t-1\n");
  expectRun("queue Copies Quota much", 2, "a whole number of kilobytes");
  expectRun("queue Copies Colour", 2, "there are JournalEnabled, Quota, JournalQuota, CompressMessages");
  expectRun("queue Copies CompressMessages true", 0, "CompressMessages\ttrue");
  expectRun("queue Copies CompressMessages false", 0, "CompressMessages\tfalse");
  expectRun("send Copies " + home.file("d1").string(), 0, "sent");
  expectRun("settings CodePage 1252", 3, "holds 1 messages in the code page of now");
  expectRun("receive Copies --ack", 0, "document d1");
  expectRun("queue Copies JournalCount 100", 0, "JournalCount\t100");
  expectRun("queue Nowhere", 4, "no queue");
  const std::string send = "send Copies " + home.file("d1").string() + " ";
  expectRun("watch Copies --ack --count 2 --out " + out + " & " CORVANEQ " " + send +
                home.file("d2").string() + " > /dev/null; wait",
            0, ".txt");
  expectLines(3, "journal Copies");
  expectRun("watch Copies --count 2", 2, "add --ack");
  // A document that cannot be read is told, and stays.
  const std::string polish = home.file("polish").string();
  std::ofstream(polish) << "Żółć";
  expectRun("send Copies " + polish, 0, "sent");
  home.writeSettings("[Platform]\nCodePage = 0\n");
  expectRun("receive Copies --ack", 3, "no code page 0");
  expectRun("watch Copies --ack", 3, "no code page 0");
  home.writeSettings("");
  expectRun("receive Copies --ack", 0, "Żółć");
  // With another code page a document that it cannot hold is refused, copied ones too.
  home.writeSettings(
      "[Platform]\nCodePage = 1252\n[Components.SmallQueue.SmallQueue]\nCompressMessages = 1\n");
  expectRun(send + polish, 3,
            "polish\" is not text in the code page of this installation: character 1 (U+017B)");
  expectRun("send Small " + polish, 0, "sent");
  expectRun("receive Small", 0, "Żółć");
  expectRun("copy Small Copies --all", 0, "copied\t1");
  expectRun("receive Copies --ack", 0, "Żółć");  // compressed as it was
  for (const char* tail : {"", "-wal", "-shm"})
    std::ofstream(home.file("msmq/storage/queues.db").string() + tail) << "no database at all";
  expectRun("messages Copies", 3, "queues.db");
}

TEST(Tool, AnswersMistakesWithSentencesAndExitCodes) {
  const Installation home;
  expectRun("", 2, "subcommand");
  expectRun("send", 2, "queue is required");
  expectRun("recieve Orders", 2, "Did you mean \"receive\"?");
  expectRun("--help", 0, "Usage: corvaneq");
  expectRun("send Orders /nowhere/x", 3, "\"/nowhere/x\" cannot be read");
  expectRun("send Orders " + home.directory().string(), 3, "is a directory");
  expectRun("create Orders", 0, "");
  expectRun("ack Orders 7", 4, "There is no document with the identifier 7");
  expectRun("--json nonsense", 2, "{\"error\":\"There is no command \\\"nonsense\\\"; see corvaneq --help");
  expectRun("--json ack Nowhere 7", 4, "{\"error\":\"There is no queue \\\"Nowhere\\\".\"}\n");
  expectRun("--json settings Color", 2, "There is no setting \\\"Color\\\"");
  expectRun("--json metrics", 2, "stat --json");
  expectRun("--json send --help", 0, "{\"help\":\"Send files as documents.");
  expectRun("--json --version", 0, "{\"version\":\"corvaneq ");
  expectRun("--json remove Orders < /dev/null", 5, "{\"question\":\"The queue \\\"Orders\\\" is about");
  expectRun("--json create \"\"", 3, ",\"number\":5,\"source\":\"corvaneq\"}");
  expectRun("send Orders - < /", 3, "\"-\" cannot be read: Is a directory");
  expectRun("settings \"\" db", 2, "There is no setting \"\"");
  EXPECT_NE(run("receive Orders --ack >&-").code, 0);
  expectRun("messages Nowhere", 4, "There is no queue \"Nowhere\"");
  expectRun("settings QueueStoreType oracle", 2, "\"oracle\" is no value of QueueStoreType: msmq or db");
  expectRun("settings UsesPublicQueues maybe", 2, "UsesPublicQueues: true or false");
  expectRun("queue Orders Quota 1", 2, "there are JournalSeconds");
  expectRun("receive Orders --count -1", 2, "--count");
  expectRun("send '\xFF' - < /dev/null", 3, "The queue name is not valid UTF-8");
  home.writeSettings("[Configuration.Global]\nQueueStoreType = \"oracle\"\n");
  expectRun("queues", 3, "choose one with \"corvaneq settings QueueStoreType\": msmq or db");
  expectRun("settings QueueStoreType db", 0, "");
  std::ofstream(home.file("in-the-way")) << "x";
  expectRun("send Orders " + home.file("in-the-way").string(), 0, "");
  expectRun("receive Orders --ack --out " + home.file("in-the-way").string(), 3, "");
  expectRun("messages Orders", 0, "0000000000000000001");  // not written, not acknowledged
}

TEST(Tool, WorksThroughAnOperatorsShift) {
  const Installation home;
  const std::filesystem::path outbox = home.file("outbox");
  std::filesystem::create_directory(outbox);
  constexpr int documents = 1000;
  for (int i = 1; i <= documents; ++i)
    std::ofstream(outbox / ("order-" + std::to_string(10000 + i))) << "order " << i;

  expectRun("create Orders", 0, "created\tOrders");
  expectRun("create ORDERS", 3, "There is a queue \"ORDERS\" already");
  expectRun("create Copies", 0, "");
  expectRun("exists orders", 0, "true");
  expectRun("exists Nowhere", 4, "false");
  expectRun("names Orders", 0, ".\\Orders\tDIRECT=OS:.\\Orders");
  expectLines(documents, "send Orders --msg-type ORDER " + outbox.string() + "/*");
  expectLines(documents, "messages Orders");

  expectRun("show Orders 0000000000000000017", 0, "order 17");
  expectRun("--json show Orders 17", 0, "\"label\":\"Msg Type: <ORDER> \",\"body\":\"order 17\"}");
  expectRun("show Orders 1001", 4, "no document \"1001\"");
  expectRun("copy Orders Copies 1 2 999999", 4, "");
  expectLines(0, "messages Copies");  // one that is not there: none is copied
  expectRun("copy Orders Nowhere --all", 4, "no queue \"Nowhere\"");
  expectRun("copy Orders Copies", 2, "--all");
  expectRun("copy Orders Copies --all", 0, "copied\t1000");

  expectRun("delete Orders 1 777777", 4, "");
  expectRun("delete Orders 1 002", 0, "deleted\t002");
  expectRun("show Orders 1", 4, "");
  expectRun("ack Orders 3", 0, "");
  expectRun("receive Orders --count 0 --ack --out " + home.file("inbox").string(), 0, "1000.txt");
  EXPECT_EQ(home.read("inbox/0000000000000001000.txt"), "order 1000");
  expectLines(0, "messages Orders");
  expectLines(documents, "journal Orders --json");
  expectRun("show Orders 1000 --journal", 0, "order 1000");

  expectRun("purge Orders --journal < /dev/null", 5, "All 1000 acknowledged documents");
  expectLines(documents, "journal Orders");
  expectRun("purge Orders --journal --yes", 0, "purged");
  expectLines(0, "journal Orders");
  expectRun("purge Copies --json --yes", 0, "{\"action\":\"purged\",\"queue\":\"Copies\"");
  expectLines(0, "messages Copies");

  expectRun("register", 0, "registered");
  EXPECT_NE(home.read("registry.toml").find("CorvaneQueue.Utility"), std::string::npos);
  expectRun("unregister", 0, "unregistered");
  EXPECT_EQ(home.read("registry.toml"), "");
}

}  // namespace
