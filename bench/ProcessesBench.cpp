// Many processes at work on one queue: senders, receivers, and both, by the library, by plain programs with
// the same schema, locks and syncs, and by a database server, turn about in one run. Prints a table in
// Markdown. Usage: processes_bench [seconds a turn] [turns] [only rows whose name has this in it]
#include "Filling.h"
#include "Measure.h"
#include "PlainQueue.h"
#include "PlainStore.h"
#include "Workers.h"
#ifdef WITH_POSTGRES
#include "PostgresQueue.h"
#endif

#include <CorvaneQueue/CorvaneQueue.h>
#include <CorvaneQueue/serverStore.h>
#include <fstream>
#include <map>

using namespace measure;
using workers::apart;
using workers::Start;
using workers::Step;

namespace {

constexpr std::size_t size = 1024;  // bytes of a body
constexpr const char16_t* path = u".\\Orders";
constexpr std::int64_t firstBox = 2;  // of the only queue

// Who does the work. `prepare` makes a place with that many documents in it; it lasts until the next one.
struct Contender {
  std::string name;
  std::string against;  // the one that it is compared with
  std::function<void(int count)> prepare;
  Start sender;
  Start receiver;
};

std::unique_ptr<Home> home;

Queue openQueue() {
  const auto queue = CorvaneQueue::create<Queue>();
  queue.Initialize(u"Orders");
  return queue;
}
Step facadeSender() {
  return [queue = openQueue(), body = String(std::u16string(size, u'x'))] {
    queue.SendDocument(body);
    return true;
  };
}

void prepareService(int count) {
  home = std::make_unique<Home>("msmq");
  apart([&] {
    createQueue(path);
    warmUp(path);
    fill(path, count, size);
  });
}
Start serviceSender() {
  return [] {
    return [queue = open(path, MQ_SEND_ACCESS), body = std::string(size, 'x')] {
      send(queue, body);
      return true;
    };
  };
}
Start serviceReceiver() {
  return [] { return [queue = open(path, MQ_RECEIVE_ACCESS)] { return takeOne(queue, size); }; };
}
Step arrivalReceiver() {
  struct Receiving {
    Queue queue = openQueue();
    Subscription events;
    long arrived = 0;
  };
  const auto receiving = std::make_shared<Receiving>();
  receiving->events = receiving->queue.evtArrived([at = receiving.get()](String& document, String&) {
    if (document.size() != size) std::_Exit(1);
    ++at->arrived;
    at->queue.AcknowledgeDocument();
  });
  receiving->queue.ReceiveEnable();
  return [receiving, counted = 0L]() mutable {
    while (receiving->arrived == counted && Apartment::current().pump(std::chrono::milliseconds(10)) > 0) {
    }
    if (receiving->arrived == counted) return false;
    ++counted;  // a pump may have delivered several
    return true;
  };
}
auto plainQueue(PlainQueue::Counts counts) {
  return std::make_shared<PlainQueue>(home->directory / "msmq/storage/queues.db", counts);
}

void prepareStore(int count) {
  home = std::make_unique<Home>("db");
  apart([&] {
    const Queue queue = openQueue();
    const String body(std::u16string(size, u'x'));
    const auto fillIt = [&](int documents) {
      queue.BeginTransaction();
      for (int i = 0; i < documents; ++i) queue.SendDocument(body);
      queue.Commit();
    };
    fillIt(8000);  // until the log has its lasting size
    queue.Purge();
    fillIt(count);
  });
}
Step pollingReceiver() {
  return [queue = openQueue()] {
    queue.BeginTransaction();
    const Message message = queue.ReceiveNext();
    if (message) {
      if (message.Body().size() != size) std::_Exit(1);
      queue.AcknowledgeMessage(message);
    }
    queue.Commit();
    return static_cast<bool>(message);
  };
}
auto plainStore() { return std::make_shared<PlainStore>(home->directory / "messages.db"); }

#ifdef WITH_POSTGRES
void prepareServerStore(const postgres::Server& server, int count) {
  home = std::make_unique<Home>("db");
  std::ofstream(home->directory / "settings.toml", std::ios::app) << server.storeSettings();
  apart([&] {
    if (!checkServerStore().empty()) installServerStore(ServerStoreScript::Install);
    const Queue queue = openQueue();
    for (const bool isJournal : {true, false}) {
      queue.Initialize(u"Orders", isJournal);
      queue.Purge();
    }
    const String body(std::u16string(size, u'x'));
    queue.BeginTransaction();
    for (int i = 0; i < count; ++i) queue.SendDocument(body);
    queue.Commit();
  });
  server.settle();  // as the plain table is: what was done here is not measured with the next turn
}
#endif

std::vector<Contender> contenders() {
  std::vector<Contender> all;
  all.push_back(
      {"queue service", "plain program (queue)", prepareService, serviceSender(), serviceReceiver()});
  all.push_back({"Queue, Message Queuing", "queue service", prepareService, facadeSender, arrivalReceiver});
  for (const auto counts : {PlainQueue::Counts::No, PlainQueue::Counts::Kept})
    all.push_back(
        {counts == PlainQueue::Counts::No ? "plain program (queue)" : "plain program that counts (queue)",
         {},
         prepareService,
         [counts] {
           return [store = plainQueue(counts), body = std::string(size, 'x')] {
             store->begin();
             store->send(firstBox, body);
             store->commit();
             return true;
           };
         },
         [counts] {
           return [store = plainQueue(counts), body = std::string()]() mutable {
             store->begin();
             const auto key = store->receive(firstBox, body);
             if (key != 0) store->remove(key, body.size());
             store->commit();
             return key != 0;
           };
         }});
  all.push_back({"Queue, database", "plain program (database)", prepareStore, facadeSender, pollingReceiver});
  all.push_back({"plain program (database)",
                 {},
                 prepareStore,
                 [] {
                   return [store = plainStore(), body = std::string(size, 'x')] {
                     store->begin();
                     store->send("Orders", body);
                     store->commit();
                     return true;
                   };
                 },
                 [] {
                   return [store = plainStore(), body = std::string()]() mutable {
                     store->begin();
                     const auto identifier = store->receive("Orders", body);
                     if (identifier != 0) store->acknowledge(identifier);
                     store->commit();
                     return identifier != 0;
                   };
                 }});
  return all;
}

struct Row {
  std::string name;
  int senders;
  int receivers;
};
std::vector<Row> rows() {
  std::vector<Row> all;
  for (const auto& [name, sends, receives] : {Row{"send ", 1, 0}, Row{"receive ", 0, 1}, Row{"both ", 1, 1}})
    for (const int count : {1, 2, 4, 8})
      all.push_back({name + std::to_string(count), sends * count, receives * count});
  return all;
}

struct Measured {
  std::vector<double> rates, user, kernel;
  double longestWait = 0;
  double systemCalls = 0;
};

void measureRow(const Row& row, const std::vector<Contender>& all) {
  std::map<std::string, Measured> measured;
  const int waiting = row.receivers == 0 ? 0 : row.senders > 0 ? 100 : static_cast<int>(15000 * seconds);
  const auto groups = [&](const Contender& each) {
    std::vector<Start> senders(static_cast<std::size_t>(row.senders), each.sender);
    std::vector<Start> receivers(static_cast<std::size_t>(row.receivers), each.receiver);
    return row.receivers == 0 ? std::pair(senders, receivers) : std::pair(receivers, senders);
  };
  for (int turn = 0; turn <= turns; ++turn)
    for (const Contender& each : all) {
      each.prepare(turn < turns ? waiting : 4000 * row.receivers);
      const auto [counted, feeding] = groups(each);
      Measured& values = measured[each.name];
      if (turn == turns) {
        values.systemCalls = workers::systemCalls(counted, feeding);
        continue;
      }
      const auto cost = workers::run(counted, feeding, seconds);
      values.rates.push_back(cost.rate);
      values.user.push_back(cost.user);
      values.kernel.push_back(cost.kernel);
      values.longestWait = std::max(values.longestWait, cost.longestWait);
    }
  for (const Contender& each : all) {
    const Measured& values = measured[each.name];
    char ratio[16] = "";
    if (!measured[each.against].rates.empty())
      std::snprintf(ratio, sizeof ratio, "%.2f", median(values.rates) / median(measured[each.against].rates));
    char calls[16] = "";  // where there was enough to do for the one that was traced
    if (values.systemCalls > 0) std::snprintf(calls, sizeof calls, "%.1f", values.systemCalls);
    std::printf("| %s | %s | %.0f | %s | %.0f | %.0f | %s | %.1f |\n", row.name.c_str(), each.name.c_str(),
                median(values.rates), ratio, median(values.user), median(values.kernel), calls,
                values.longestWait * 1e3);
    std::fflush(stdout);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) seconds = std::atof(argv[1]);
  if (argc > 2) turns = std::atoi(argv[2]);
  if (argc > 3) only = argv[3];
  const std::string who = argc > 4 ? argv[4] : "";
  std::vector<Contender> all = contenders();
#ifdef WITH_POSTGRES
  std::string why;
  const auto server = postgres::Server::start(why);
  if (server) {
    const auto prepareServer = [&](int count) { prepareServerStore(*server, count); };
    const auto plain = [&](const char* name, bool hasSavepoints) {
      all.push_back({name,
                     {},
                     prepareServer,
                     [&] { return server->storeSender(size); },
                     [&, hasSavepoints] { return server->storeReceiver(1, hasSavepoints); }});
    };
    all.push_back({"Queue, PostgreSQL", "same statements by libpq, PostgreSQL", prepareServer, facadeSender,
                   pollingReceiver});
    plain("same statements by libpq, PostgreSQL", true);
    plain("without savepoints by libpq, PostgreSQL", false);
    all.push_back({"PostgreSQL",
                   {},
                   [&](int count) { server->prepare(count, size); },
                   [&] { return server->sender(size); },
                   [&] { return server->receiver(); }});
  }
#else
  const std::string why = "this benchmark was built without libpq (Debian package libpq-dev)";
#endif
  std::erase_if(all, [&](const Contender& each) { return each.name.find(who) == std::string::npos; });
  if (!why.empty()) std::printf("There is no row for PostgreSQL: %s.\n\n", why.c_str());
  std::printf(
      "Documents of %zu bytes, medians of %d turns of %.1f s; microseconds of processor time a document, of those\n"
      "who were measured (a server works besides); system calls of one of them. A row tells who was at work.\n\n",
      size, turns, seconds);
  std::printf(
      "| processes | who | a second | ratio | user | kernel | calls | longest wait, ms |\n"
      "|---|---|---|---|---|---|---|---|\n");
  for (const Row& row : rows())
    if (wanted(row.name.c_str())) measureRow(row, all);
}
