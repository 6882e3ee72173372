// Many processes on one queue, and processes that are killed at any point of their work.
#include "Client.h"
#include "Expect.h"
#include "Installation.h"

#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <map>
#include <random>
#include <set>

namespace {

using namespace client;

// Runs the body in a process of its own; it fails when the body throws or returns false.
template <class Body>
pid_t inProcess(Body&& body) {
  const pid_t child = fork();
  if (child != 0) return child;
  bool good = false;
  try {
    good = body();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  _exit(good ? 0 : 1);
}
bool succeeded(pid_t child) {
  int status = 0;
  return waitpid(child, &status, 0) == child && status == 0;
}
std::u16string numbered(char16_t who, int number) {
  const std::string digits = std::to_string(number);
  return who + std::u16string(digits.begin(), digits.end());
}

TEST(ManyProcesses, SendAndReceiveWithNothingLostOrDoubled) {
  const Installation home;
  constexpr int senders = 3;
  constexpr int each = 150;
  std::vector<pid_t> children;
  for (char16_t who = u'a'; who < u'a' + senders; ++who)
    children.push_back(inProcess([who] {
      const auto queue = openQueue(u"Orders");
      for (int i = 0; i < each; ++i) send(queue, numbered(who, i));
      return true;
    }));
  // Two receivers; each takes a document inside a transaction, which keeps the other one off it.
  for (int receiver = 0; receiver < 2; ++receiver)
    children.push_back(inProcess([] {
      const auto queue = openQueue(u"Orders");
      for (int idle = 0; idle < 200;) {
        call<&_Queue::raw_BeginTransaction>(queue);
        const auto message = receive(queue);
        if (message) acknowledge(queue, message);
        call<&_Queue::raw_Commit>(queue);
        if (message) {
          idle = 0;
        } else {
          ++idle;
          usleep(2000);
        }
      }
      return true;
    }));
  for (const pid_t child : children) EXPECT_TRUE(succeeded(child));
  EXPECT_TRUE(waiting(u"Orders").empty());
  const auto journal = journaled(u"Orders");
  EXPECT_EQ(journal.size(), static_cast<std::size_t>(senders * each));
  std::map<char16_t, int> next;
  for (const auto& body : journal) {  // each sender's documents in their order, each once
    EXPECT_EQ(body, numbered(body[0], next[body[0]]));
    ++next[body[0]];
  }
}

// Senders and acknowledgers write down what was reported as done; both are killed at random points.
TEST(ManyProcesses, KilledAtAnyPointLeaveTheStoreWhole) {
  const Installation home;
  std::mt19937 random(4711);
  std::set<std::u16string> sent;
  std::set<std::u16string> attempted;
  std::set<std::u16string> acknowledged;
  std::set<std::u16string> acknowledging;
  int number = 0;
  constexpr int kills = 60;
  for (int kill = 0; kill < kills; ++kill) {
    int report[2];
    ASSERT_EQ(pipe(report), 0);
    const int start = number;
    const pid_t child = inProcess([&] {
      const auto tell = [&](char what, const std::u16string& text) {
        const std::string line = what + toUtf8(text) + "\n";
        return write(report[1], line.data(), line.size()) == static_cast<ssize_t>(line.size());
      };
      const auto queue = openQueue(u"Orders");
      for (int i = start;; ++i) {
        const auto document =
            numbered(u'd', i) + std::u16string(static_cast<std::size_t>(i % 7) * 3000, u'.');
        const auto name = numbered(u'd', i);
        if (!tell('a', name)) return false;
        const bool open = i % 3 == 0;
        if (open) call<&_Queue::raw_BeginTransaction>(queue);
        send(queue, document);
        if (open) call<&_Queue::raw_Commit>(queue);
        tell('s', name);
        if (i % 2 == 0) {
          const auto message = receive(queue);
          const auto body = bodyOf(message);
          const auto taken = body.substr(0, body.find(u'.'));
          tell('r', taken);
          acknowledge(queue, message);
          tell('k', taken);
        }
      }
      return true;
    });
    close(report[1]);
    // Some reports, a moment more, and the end.
    const auto enough = static_cast<std::ptrdiff_t>(3 + random() % 25);
    std::string told;
    char buffer[4096];
    const auto readMore = [&] {
      const ssize_t size = read(report[0], buffer, sizeof buffer);
      told.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
      return size > 0;
    };
    while (std::count(told.begin(), told.end(), '\n') < enough && readMore()) {
    }
    usleep(static_cast<useconds_t>(random() % 3000));
    ::kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    while (readMore()) {
    }
    close(report[0]);
    std::size_t at = 0;
    for (std::size_t end; (end = told.find('\n', at)) != std::string::npos; at = end + 1) {
      const std::string line = told.substr(at, end - at);
      const std::u16string text(line.begin() + 1, line.end());
      if (line[0] == 'a') attempted.insert(text), number = std::max(number, std::stoi(line.substr(2)) + 1);
      if (line[0] == 's') sent.insert(text);
      if (line[0] == 'r') acknowledging.insert(text);
      if (line[0] == 'k') acknowledged.insert(text);
    }
  }
  ASSERT_GT(sent.size(), static_cast<std::size_t>(kills));
  std::map<std::u16string, int> found;
  const auto collect = [&](const std::vector<std::u16string>& bodies, const std::set<std::u16string>& allowed,
                           const std::set<std::u16string>& excluded) {
    for (const auto& body : bodies) {
      const auto name = body.substr(0, body.find(u'.'));
      EXPECT_EQ(body.size(), name.size() + static_cast<std::size_t>(
                                               std::stoi(std::string(name.begin() + 1, name.end())) % 7) *
                                               3000);
      EXPECT_TRUE(allowed.contains(name)) << toUtf8(name);
      EXPECT_FALSE(excluded.contains(name)) << toUtf8(name);
      ++found[name];
    }
  };
  collect(waiting(u"Orders"), attempted, acknowledged);
  collect(journaled(u"Orders"), acknowledging, {});
  for (const auto& name : sent) EXPECT_EQ(found[name], 1) << toUtf8(name);
  for (const auto& [name, times] : found) EXPECT_EQ(times, 1) << toUtf8(name);
}

}  // namespace
