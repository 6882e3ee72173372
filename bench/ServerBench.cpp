// The database store on a PostgreSQL server that this starts, beside a plain program over libpq that makes
// the same calls of the same procedures: 100 documents in a transaction, a listing of 100,000, and how soon a
// worker has what is sent. Usage: server_bench [seconds a turn] [turns] [only rows whose name has this in it]
#include "Measure.h"
#include "PostgresQueue.h"

#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/serverStore.h>
#include <CorvaneQueue/Worker.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>

using namespace measure;
using namespace CorvaneQueue;

namespace {

constexpr std::size_t size = 1024;
constexpr int inOne = 100;

Queue openQueue() {
  const auto queue = CorvaneQueue::create<Queue>();
  queue->Initialize(u"Orders");
  return queue;
}
void empty() {
  const auto queue = openQueue();
  for (const bool isJournal : {true, false}) {
    queue->Initialize(u"Orders", isJournal);
    queue->Purge();
  }
}
void fill(int count) {
  const auto queue = openQueue();
  const String body(std::u16string(size, u'x'));
  queue->BeginTransaction();
  for (int i = 0; i < count; ++i) queue->SendDocument(body);
  queue->Commit();
}

// Documents a second, of transactions of 100.
double sending(const postgres::Server& server, int who) {
  if (who > 0) {
    const auto step = server.storeSender(size, inOne, who == 2);
    return inOne * rate(step);
  }
  const auto queue = openQueue();
  const String body(std::u16string(size, u'x'));
  return inOne * rate([&] {
           queue->BeginTransaction();
           for (int i = 0; i < inOne; ++i) queue->SendDocument(body);
           queue->Commit();
           return true;
         });
}
double receiving(const postgres::Server& server, int who) {
  fill(static_cast<int>(8000 * seconds) / inOne * inOne);
  if (who > 0) {
    const auto step = server.storeReceiver(inOne, who == 2);
    return inOne * rate(step);
  }
  const auto queue = openQueue();
  return inOne * rate([&] {
           queue->BeginTransaction();
           int taken = 0;
           for (; taken < inOne; ++taken) {
             const auto message = queue->ReceiveNext();
             if (!message) break;
             queue->AcknowledgeMessage(message);
           }
           queue->Commit();
           return taken == inOne;
         });
}

// In a fresh process, for its memory: documents a second, and megabytes at the peak above what there was
// before.
std::pair<double, double> listing(const postgres::Server& server, bool isFacade, int documents) {
  int report[2];
  if (pipe(report) != 0) std::exit(1);
  if (fork() == 0) {
    double result[2] = {};
    const auto peak = [] {
      rusage usage{};
      getrusage(RUSAGE_SELF, &usage);
      return static_cast<double>(usage.ru_maxrss) / 1024;
    };
    const auto messages = isFacade ? CorvaneQueue::create<Queues>()->Item("Orders")->Messages() : Messages();
    const double before = peak();
    const auto start = Clock::now();
    if (isFacade)
      messages->Refresh();
    else if (server.storeListing() != documents)
      _exit(1);
    result[0] = documents / since(start);
    result[1] = peak() - before;
    if (write(report[1], result, sizeof result) < 0) _exit(1);
    _exit(0);
  }
  close(report[1]);
  double result[2];
  if (read(report[0], result, sizeof result) != sizeof result) std::exit(1);
  wait(nullptr);
  close(report[0]);
  return {result[0], result[1]};
}

// Milliseconds from before a document is sent to an idle worker until the worker has it.
std::vector<double> wakings(int count) {
  int taken[2];
  if (pipe(taken) != 0) std::exit(1);
  const pid_t worker = fork();
  if (worker == 0) {
    Worker("Orders", [&](const WorkerDocument&) {
      const auto now = Clock::now().time_since_epoch().count();
      if (write(taken[1], &now, sizeof now) < 0) std::_Exit(1);
    }).run({});
    _exit(0);
  }
  const auto queue = openQueue();
  std::vector<double> times;
  for (int i = 0; i < count; ++i) {
    usleep(700'000 + static_cast<useconds_t>(i * 7919 % 100'000));  // until it looks seldom
    const auto start = Clock::now();
    queue->SendDocument("text");
    Clock::duration::rep at = 0;
    if (read(taken[0], &at, sizeof at) != sizeof at) std::exit(1);
    times.push_back(
        std::chrono::duration<double, std::milli>(Clock::duration(at) - start.time_since_epoch()).count());
  }
  kill(worker, SIGKILL);
  waitpid(worker, nullptr, 0);
  return times;
}

void compareAll(const char* what, const postgres::Server& server,
                double (*work)(const postgres::Server&, int)) {
  if (!wanted(what)) return;
  std::vector<double> rates[3];
  for (int turn = 0; turn < turns; ++turn)
    for (int who = 0; who < 3; ++who) {
      rates[(turn + who) % 3].push_back(work(server, (turn + who) % 3));
      empty();
    }
  const double own = median(rates[0]);
  std::printf("%-32s %10.0f %10.0f %8.2f %10.0f %8.2f\n", what, own, median(rates[1]), own / median(rates[1]),
              median(rates[2]), own / median(rates[2]));
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) seconds = std::atof(argv[1]);
  if (argc > 2) turns = std::atoi(argv[2]);
  if (argc > 3) only = argv[3];
  std::string why;
  const auto server = postgres::Server::start(why);
  if (!server) {
    std::printf("%s\n", why.c_str());
    return 1;
  }
  const Home home;
  std::ofstream(home.directory / "settings.toml", std::ios::app) << server->storeSettings();
  installServerStore(ServerStoreScript::Install);
  std::printf("%-32s %10s %10s %8s %10s %8s\n", "documents per second", "Queue", "libpq", "ratio",
              "+ savepts", "ratio");
  compareAll("send, 100 in a transaction", *server, sending);
  compareAll("receive, 100 in a transaction", *server, receiving);
  if (wanted("listing")) {
    constexpr int documents = 100'000;
    fill(documents);
    server->settle();
    std::vector<double> own, plain;
    double megabytes = 0;
    for (int turn = 0; turn < turns; ++turn) {
      const auto [listed, used] = listing(*server, true, documents);
      own.push_back(listed);
      megabytes = std::max(megabytes, used);
      plain.push_back(listing(*server, false, documents).first);
    }
    std::printf("%-32s %10.0f %10.0f %8.2f\n", "listing of 100,000", median(own), median(plain),
                median(own) / median(plain));
    std::printf("%-32s %10.0f MiB at the peak, %.2f times the documents' UTF-16 size\n", "  its memory",
                megabytes, megabytes / (documents * size * 2.0 / (1 << 20)));
    empty();
  }
  if (wanted("worker")) {
    std::vector<double> times = wakings(turns * 10);
    std::sort(times.begin(), times.end());
    std::printf("%-32s %10.1f ms in the median, %.1f at the most, of %zu\n",
                "an idle worker has a document after", median(times), times.back(), times.size());
  }
}
