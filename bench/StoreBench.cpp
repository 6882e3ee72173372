// Durable documents per second: through the facade, by a plain program on the same schema, and the bare
// disk, in one run, turn about. Prints a table of medians.
// Usage: store_bench [seconds a turn] [turns] [only rows whose name has this in it]
#include "Measure.h"
#include "PlainStore.h"

#include <CorvaneQueue/CorvaneQueue.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <vector>

using namespace CorvaneQueue;
using namespace measure;

namespace {

Ref<_Queue> openQueue() {
  const auto queue = create<_Queue>(u"CorvaneQueue.Queue");
  call<&_Queue::raw_Initialize>(queue, u"Orders", false);
  return queue;
}

// One program at work: sends a document, or takes one (false when there is none).
struct Worker {
  std::function<void()> send;
  std::function<bool()> take;
};
Worker facadeWorker(std::size_t size) {
  const auto queue = openQueue();
  const String body(std::u16string(size, u'x'));
  return {[=] { call<&_Queue::raw_SendDocument>(queue, body); },
          [=] {
            const auto message = call<&_Queue::raw_ReceiveNext>(queue);
            if (!message) return false;
            const Variant received = call<&_Message::get_Body>(message);
            if (StringRef(received.get().bstrVal).size() != size) std::exit(1);
            call<&_Queue::raw_AcknowledgeDocument>(queue, call<&_Message::get_ID>(message));
            return true;
          }};
}
Worker plainWorker(const Home& home, std::size_t size) {
  const auto store = std::make_shared<PlainStore>((home.directory / "messages.db"));
  const auto body = std::make_shared<std::string>(size, 'x');
  const auto received = std::make_shared<std::string>();
  return {[=] {
            store->begin();
            store->send("Orders", *body);
            store->commit();
          },
          [=] {
            const auto identifier = store->receive("Orders", *received);
            if (identifier == 0) return false;
            store->begin();
            store->acknowledge(identifier);
            store->commit();
            return true;
          }};
}
Worker workerOf(bool isFacade, const Home& home, std::size_t size) {
  if (isFacade) return facadeWorker(size);
  facadeWorker(size).send();  // makes the file
  return plainWorker(home, size);
}

double sending(bool isFacade, std::size_t size) {
  const Home home;
  const Worker worker = workerOf(isFacade, home, size);
  for (int i = 0; i < 200; ++i) worker.send();
  return rate([&] { return worker.send(), true; });
}

double taking(bool isFacade, std::size_t size) {
  const Home home;
  {
    const auto queue = openQueue();
    const String body(std::u16string(size, u'x'));
    const auto wanted = static_cast<int>(12000 * seconds);
    for (int i = 0; i < wanted; ++i) {
      if (i % 1000 == 0) call<&_Queue::raw_BeginTransaction>(queue);
      call<&_Queue::raw_SendDocument>(queue, body);
      if (i % 1000 == 999 || i == wanted - 1) call<&_Queue::raw_Commit>(queue);
    }
  }
  const Worker worker = workerOf(isFacade, home, size);
  for (int i = 0; i < 200; ++i) worker.take();
  return rate(worker.take);
}

// One process sends while this one takes; documents taken per second.
double both(bool isFacade, std::size_t size) {
  const Home home;
  const pid_t child = fork();
  if (child == 0) {
    const Worker worker = workerOf(isFacade, home, size);
    for (;;) worker.send();
  }
  usleep(100000);
  double result = 0;
  {
    const Worker worker = workerOf(isFacade, home, size);
    const auto start = Clock::now();
    long done = 0;
    while (since(start) < seconds) {
      if (worker.take())
        ++done;
      else
        usleep(50);
    }
    result = static_cast<double>(done) / since(start);
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return result;
}

void compare(const char* what, std::size_t size, double (*work)(bool, std::size_t)) {
  if (std::string(what).find(only) == std::string::npos) return;
  std::vector<double> facade;
  std::vector<double> plain;
  std::vector<double> bare;
  std::vector<double> ratio;
  for (int turn = 0; turn < turns; ++turn) {
    const bool isFirst = turn % 2 == 0;  // who comes first feels what the disk still has to do
    bare.push_back(disk(size));
    (isFirst ? facade : plain).push_back(work(isFirst, size));
    (isFirst ? plain : facade).push_back(work(!isFirst, size));
    ratio.push_back(facade.back() / plain.back());
  }
  std::printf("%-28s %6zu %10.0f %10.0f %8.2f %10.0f %8.2f\n", what, size, median(facade), median(plain),
              median(ratio), median(bare), median(facade) / median(bare));
  std::fflush(stdout);
}

long residentKilobytes() {
  std::ifstream status("/proc/self/statm");
  long pages = 0;
  long resident = 0;
  status >> pages >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

void listing() {
  constexpr int documents = 100000;
  constexpr std::size_t size = 1024;
  const Home home;
  {
    const auto queue = openQueue();
    const String body(std::u16string(size, u'x'));
    for (int i = 0; i < documents; ++i) {
      if (i % 5000 == 0) call<&_Queue::raw_BeginTransaction>(queue);
      call<&_Queue::raw_SendDocument>(queue, body);
      if (i % 5000 == 4999) call<&_Queue::raw_Commit>(queue);
    }
  }
  const auto measured = [&](bool isFacade) {
    int report[2];
    if (pipe(report) != 0) std::exit(1);
    if (fork() == 0) {  // a fresh process each, for the memory
      double result[2] = {};
      if (isFacade) {
        const auto queues = create<_Queues>(u"CorvaneQueue.Queues");
        const auto messages =
            call<&_Queue::get_Messages>(call<&_Queues::get_Item>(queues, Variant(u"Orders")));
        const long before = residentKilobytes();
        const auto start = Clock::now();
        call<&_Messages::raw_Refresh>(messages);
        result[0] = documents / since(start);
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        result[1] = static_cast<double>(usage.ru_maxrss - before) / 1024;
      } else {
        PlainStore store((home.directory / "messages.db"));
        const auto start = Clock::now();
        store.readAll("Orders");
        result[0] = documents / since(start);
      }
      if (write(report[1], result, sizeof result) < 0) _exit(1);
      _exit(0);
    }
    double result[2];
    if (read(report[0], result, sizeof result) != sizeof result) std::exit(1);
    wait(nullptr);
    close(report[0]);
    close(report[1]);
    return std::pair(result[0], result[1]);
  };
  std::vector<double> facade;
  std::vector<double> plain;
  double megabytes = 0;
  for (int turn = 0; turn < turns; ++turn) {
    const auto [listed, used] = measured(true);
    facade.push_back(listed);
    megabytes = std::max(megabytes, used);
    plain.push_back(measured(false).first);
  }
  std::printf("%-28s %6zu %10.0f %10.0f %8.2f\n", "Refresh of 100,000", size, median(facade), median(plain),
              median(facade) / median(plain));
  std::printf("%-28s %6zu %10.0f MiB at the peak, %.2f times the documents' UTF-16 size\n", "  its memory",
              size, megabytes, megabytes / (documents * size * 2.0 / (1 << 20)));
}

void hundredInOne() {
  const Home home;
  const auto queue = openQueue();
  const String body(std::u16string(1024, u'x'));
  std::vector<double> rates;
  for (int turn = 0; turn < turns * 20; ++turn) {
    const auto start = Clock::now();
    call<&_Queue::raw_BeginTransaction>(queue);
    for (int i = 0; i < 100; ++i) call<&_Queue::raw_SendDocument>(queue, body);
    call<&_Queue::raw_Commit>(queue);
    rates.push_back(100 / since(start));
  }
  std::printf("%-28s %6d %10.0f documents/s\n", "100 sends in a transaction", 1024, median(rates));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) seconds = std::atof(argv[1]);
  if (argc > 2) turns = std::atoi(argv[2]);
  if (argc > 3) only = argv[3];
  std::printf("%-28s %6s %10s %10s %8s %10s %8s\n", "documents per second", "bytes", "facade", "plain",
              "ratio", "disk", "ratio");
  for (const std::size_t size : {1024, 16384}) {
    compare("send", size, sending);
    compare("receive + acknowledge", size, taking);
    compare("one sends, one receives", size, both);
  }
  if (only.empty() || only == "100") hundredInOne();
  if (only.empty() || only == "Refresh") listing();
}
