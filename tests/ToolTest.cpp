// The operator tool as a process: results, messages and exit codes.
#include "Installation.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <array>
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
  std::array<char, 4096> buffer;
  for (std::size_t size; (size = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
    output.append(buffer.data(), size);
  return {WEXITSTATUS(pclose(pipe)), output};
}

void expectRun(const std::string& arguments, int code, const std::string& part) {
  const Run result = run(arguments);
  EXPECT_EQ(result.code, code) << arguments << "\n" << result.output;
  EXPECT_NE(result.output.find(part), std::string::npos) << arguments << "\n" << result.output;
}

TEST(Tool, CarriesDocumentsFromFilesToFiles) {
  const Installation home("");
  std::ofstream(home.file("a.txt")) << "Grüße";
  std::ofstream(home.file("b.txt")) << "gr\xFC\xDF";
  const std::string a = home.file("a.txt").string();
  const std::string b = home.file("b.txt").string();
  expectRun("send Orders " + a, 3, "set QueueStoreType to \"db\"");
  expectRun("settings QueueStoreType db", 0, "QueueStoreType\tdb");
  expectRun("send Orders --msg-type ORDER " + a, 0, "sent\t" + a);
  expectRun("send Orders " + a + " " + b, 3, "is not a document: The text is not valid UTF-8 (byte 2)");
  expectRun("send Orders --encoding CP1252 " + b, 0, "sent");
  expectRun("send Orders - < " + a, 0, "sent\t-");
  expectRun("queues", 0, "Orders\n");
  expectRun("messages orders", 0, "Msg Type: <ORDER>");
  EXPECT_EQ(run("messages Orders").output.find("0000000000000000004"),
            std::string::npos);  // the bad file sent none
  expectRun("receive Orders", 0, "Grüße");
  expectRun("receive Orders --count 0", 2, "add --ack");
  expectRun("queues > /dev/full", 3, "Standard output cannot be written");
  const std::string out = home.file("out").string();
  expectRun("receive Orders --count 2 --ack --out " + out, 0, "1.txt");
  EXPECT_EQ(home.read("out/1.txt"), "Grüße");
  EXPECT_EQ(home.read("out/2.txt"), "grüß");
  expectRun("ack Orders 0000000000000000003", 0, "");
  expectRun("receive Orders", 4, "");
  expectRun("journal Orders", 0, "0000000000000000003");
}

TEST(Tool, AnswersMistakesWithSentencesAndExitCodes) {
  const Installation home;
  expectRun("", 2, "subcommand");
  expectRun("send", 2, "queue is required");
  expectRun("nonsense", 2, "nonsense");
  expectRun("--help", 0, "Exit codes");
  expectRun("send Orders /nowhere/x", 3, "\"/nowhere/x\" cannot be read");
  expectRun("send Orders " + home.directory().string(), 3, "is a directory");
  expectRun("ack Orders 7", 3, "There is no document with the identifier 7");
  expectRun("messages Nowhere", 3, "There is no queue \"Nowhere\"");
  expectRun("settings QueueStoreType oracle", 3, "Unsupported queue storage type (error 100");
  expectRun("receive Orders --count -1", 2, "--count");
  expectRun("send '\xFF' - < /dev/null", 3, "The queue name is not valid UTF-8");
  expectRun("settings Color", 3, "There is no setting \"Color\"");
  std::ofstream(home.file("in-the-way")) << "x";
  expectRun("send Orders " + home.file("in-the-way").string(), 0, "");
  expectRun("receive Orders --ack --out " + home.file("in-the-way").string(), 3, "");
  expectRun("messages Orders", 0, "0000000000000000001");  // not written, not acknowledged
}

}  // namespace
