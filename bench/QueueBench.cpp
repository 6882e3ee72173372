// Durable messages per second of the embedded queue service, through the declared objects; by a plain
// program on the same schema; and the bare disk, in one run, turn about. Prints a table of medians, then
// the times of single operations.
// Usage: queue_bench [seconds a turn] [turns] [only rows whose name has this in it]
#include "Filling.h"
#include "Measure.h"
#include "PlainQueue.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <csignal>
#include <cstdio>
#include <ctime>

using namespace queuing;
using namespace measure;

namespace {

constexpr const char16_t* path = u".\\PRIVATE$\\Orders";
constexpr std::int64_t firstBox = 2;  // of the only queue
constexpr std::size_t size = 1024;

struct Worker {
  std::function<void()> send;
  std::function<bool()> take;
};
Worker serviceWorker() {
  const auto sender = open(path, MQ_SEND_ACCESS);
  const auto receiver = open(path, MQ_RECEIVE_ACCESS);
  const std::string body(size, 'x');
  return {[=] { queuing::send(sender, body); }, [=] { return takeOne(receiver, size); }};
}
Worker plainWorker(const Home& home) {
  const auto store = std::make_shared<PlainQueue>(home.directory / "msmq/storage/queues.db");
  const auto body = std::make_shared<std::string>(size, 'x');
  const auto received = std::make_shared<std::string>();
  return {[=] {
            store->begin();
            store->send(firstBox, *body);
            store->commit();
          },
          [=] {
            const auto key = store->receive(firstBox, *received);
            if (key == 0) return false;
            store->begin();
            store->remove(key, received->size());
            store->commit();
            return true;
          }};
}
Worker workerOf(bool isService, const Home& home) { return isService ? serviceWorker() : plainWorker(home); }

double sending(bool isService) {
  const Home home;
  createQueue(path);
  warmUp(path);
  const Worker worker = workerOf(isService, home);
  for (int i = 0; i < 200; ++i) worker.send();
  return rate([&] { return worker.send(), true; });
}

double taking(bool isService) {
  const Home home;
  createQueue(path);
  fill(path, static_cast<int>(12000 * seconds), size);
  const Worker worker = workerOf(isService, home);
  for (int i = 0; i < 200; ++i) worker.take();
  return rate(worker.take);
}

void hundredInOne() {
  const Home home;
  createQueue(path);
  const auto queue = open(path, MQ_SEND_ACCESS);
  const std::string body(size, 'x');
  const double time = medianTime(turns * 20, [&] {
    const auto work = begin();
    for (int i = 0; i < 100; ++i) send(queue, body, work);
    commit(work);
  });
  report("100 sends in a transaction", 100 / time, "messages/s");
}

void browsing() {
  const Home home;
  createQueue(path);
  fill(path, 100000, size);
  const auto queue = open(path, MQ_PEEK_ACCESS);
  peekCurrent(queue, 0, false);
  int peeked = 0;
  const auto start = Clock::now();
  while (peekNext(queue, 0, false)) ++peeked;
  report("peek of the next of 100,000", since(start) / peeked * 1e6, "us");
}

double firstOf(int count) {
  const Home home;
  createQueue(path);
  fill(path, count, 64);
  const auto receiver = open(path, MQ_RECEIVE_ACCESS);
  receive(receiver, begin());
  return medianTime(99, [&] {
    const auto work = begin();
    receive(receiver, work);
    commit(work);
  });
}

void wakingUp() {
  const Home home;
  createQueue(path);
  int go[2];
  int done[2];
  if (pipe(go) != 0 || pipe(done) != 0) std::exit(1);
  const pid_t child = fork();
  if (child == 0) {
    close(go[1]);  // or its end would never be seen
    const auto receiver = open(path, MQ_RECEIVE_ACCESS);
    for (char byte; read(go[0], &byte, 1) == 1;) {
      receive(receiver, In(), -1);
      const auto now = Clock::now();
      if (write(done[1], &now, sizeof now) != sizeof now) _exit(1);
    }
    _exit(0);
  }
  close(go[0]);
  const auto sender = open(path, MQ_SEND_ACCESS);
  std::vector<double> fromSend;
  for (int i = 0; i < 300; ++i) {
    if (write(go[1], "x", 1) != 1) std::exit(1);
    usleep(3000);  // it waits by now
    send(sender, "x");
    const auto sent = Clock::now();
    Clock::time_point received;
    if (read(done[0], &received, sizeof received) != sizeof received) std::exit(1);
    fromSend.push_back(std::chrono::duration<double>(received - sent).count());
  }
  close(go[1]);
  waitpid(child, nullptr, 0);
  report("wake-up: send returned to receive returned", median(fromSend) * 1e6,
         "us, the receive's own sync included");
}

void wakingUpPeek() {
  const Home home;
  createQueue(path);
  int ready[2];
  int done[2];
  if (pipe(ready) != 0 || pipe(done) != 0) std::exit(1);
  const pid_t child = fork();
  if (child == 0) {
    const auto receiver = open(path, MQ_RECEIVE_ACCESS);
    for (int i = 0; i < 300; ++i) {
      if (write(ready[1], "x", 1) != 1) _exit(1);
      peek(receiver, -1);
      const auto now = Clock::now();
      receive(receiver);
      if (write(done[1], &now, sizeof now) != sizeof now) _exit(1);
    }
    _exit(0);
  }
  const auto sender = open(path, MQ_SEND_ACCESS);
  std::vector<double> times;
  for (int i = 0; i < 300; ++i) {
    char byte;
    if (read(ready[0], &byte, 1) != 1) std::exit(1);
    usleep(2000);
    send(sender, "x");
    const auto sent = Clock::now();
    Clock::time_point woken;
    if (read(done[0], &woken, sizeof woken) != sizeof woken) std::exit(1);
    times.push_back(std::chrono::duration<double>(woken - sent).count());
  }
  waitpid(child, nullptr, 0);
  report("wake-up: send returned to peek returned", median(times) * 1e6, "us");
}

void idling() {
  const Home home;
  createQueue(path);
  const auto receiver = open(path, MQ_RECEIVE_ACCESS);
  const auto before = std::clock();
  peek(receiver, 10'000);
  report("processor time of a wait of 10 s",
         static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC * 1e3, "ms");
}

// From the death of a process to the receive of what it held.
void afterADeath() {
  std::vector<double> times;
  for (int i = 0; i < 9; ++i) {
    const Home home;
    int ready[2];
    if (pipe(ready) != 0) std::exit(1);
    const pid_t child = fork();
    if (child == 0) {
      createQueue(path);
      send(open(path, MQ_SEND_ACCESS), "held");
      const auto work = begin();
      receive(open(path, MQ_RECEIVE_ACCESS), work);
      if (write(ready[1], "x", 1) != 1) _exit(1);
      pause();
    }
    char byte;
    if (read(ready[0], &byte, 1) != 1) std::exit(1);
    const auto receiver = open(path, MQ_RECEIVE_ACCESS);
    kill(child, SIGKILL);
    const auto start = Clock::now();
    peek(receiver, -1);
    times.push_back(since(start));
    waitpid(child, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
  }
  report("what a dead process held is free after", median(times) * 1e3, "ms");
}

void opening() {
  const Home home;
  createQueue(path);
  fill(path, 1'000'000, 64);
  int result[2];
  if (pipe(result) != 0) std::exit(1);
  const pid_t child = fork();
  if (child == 0) {
    double values[2];
    const auto start = Clock::now();
    const auto receiver = open(path, MQ_RECEIVE_ACCESS);
    peek(receiver);
    values[0] = since(start);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    values[1] = static_cast<double>(usage.ru_maxrss) / 1024;
    if (write(result[1], values, sizeof values) < 0) _exit(1);
    _exit(0);
  }
  double values[2];
  if (read(result[0], values, sizeof values) != sizeof values) std::exit(1);
  waitpid(child, nullptr, 0);
  report("open a queue of 1,000,000 and peek", values[0] * 1e3, "ms");
  report("  resident memory of that process", values[1], "MiB");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) seconds = std::atof(argv[1]);
  if (argc > 2) turns = std::atoi(argv[2]);
  if (argc > 3) only = argv[3];
  heading("1 KiB messages per second", "service", "plain");
  compare("send", sending, [] { return disk(size); });
  compare("receive + commit", taking, [] { return disk(size); });
  if (wanted("hundred")) hundredInOne();
  if (wanted("browsing")) browsing();
  if (wanted("first")) {
    report("receive + commit, first of 100", firstOf(100) * 1e6, "us");
    report("receive + commit, first of 1,000,000", firstOf(1'000'000) * 1e6, "us");
  }
  if (wanted("waking")) {
    wakingUpPeek();
    wakingUp();
  }
  if (wanted("idling")) idling();
  if (wanted("death")) afterADeath();
  if (wanted("opening")) opening();
}
