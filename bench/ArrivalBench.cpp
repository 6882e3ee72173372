// The default store through the facade, beside the bare queue service in the same run. Prints rates, then the
// times of single operations.
// Usage: arrival_bench [seconds a turn] [turns] [only rows whose name has this in it]
#include "Filling.h"
#include "Measure.h"

#include <sys/resource.h>
#include <sys/wait.h>

using namespace measure;

namespace {

constexpr const char16_t* path = u".\\Orders";
constexpr std::size_t size = 1024;

Queue openQueue() {
  const auto queue = CorvaneQueue::create<CorvaneQueue::Queue>();
  queue.Initialize(u"Orders");
  return queue;
}

// Only a listed queue has them.
Messages listedMessages() {
  const auto queues = CorvaneQueue::create<CorvaneQueue::Queues>();
  queues.Refresh();
  return queues.Item(u"Orders").Messages();
}

// A hundred steps of one, then of the other, again and again on one installation: what the disk does in
// between meets both. Prints rates per second.
void alternate(const char* what, const std::function<bool()>& facade, const std::function<bool()>& service) {
  double times[2] = {};
  int rounds = 0;
  const auto start = Clock::now();
  for (bool isLeft = true; isLeft && since(start) < 2 * seconds * turns; ++rounds)
    for (const int which : {rounds % 2, 1 - rounds % 2}) {
      const auto turn = Clock::now();
      for (int i = 0; i < 100 && isLeft; ++i) isLeft = which == 0 ? facade() : service();
      times[which] += since(turn);
    }
  const double steps = rounds * 100;
  std::printf("%-44s %8.0f %8.0f %8.2f\n", what, steps / times[0], steps / times[1], times[1] / times[0]);
  std::fflush(stdout);
}

void sending() {
  const Home home("msmq");
  createQueue(path);
  warmUp(path);
  alternate(
      "send",
      [queue = openQueue(), body = String(std::u16string(size, u'x'))] {
        queue.SendDocument(body);
        return true;
      },
      [queue = open(path, MQ_SEND_ACCESS), body = std::string(size, 'x')] {
        send(queue, body);
        return true;
      });
}

void taking() {
  const Home home("msmq");
  createQueue(path);
  fill(path, static_cast<int>(12000 * 2 * seconds * turns), size);
  const Queue queue = openQueue();
  long arrived = 0;
  const Subscription events = queue.evtArrived([&](String& document, String&) {
    if (document.size() != size) std::exit(1);
    ++arrived;
    queue.AcknowledgeDocument();
  });
  queue.ReceiveEnable();
  alternate(
      "arrival + acknowledge | receive + commit",
      [&] {
        const long before = arrived;
        while (arrived == before && Apartment::current().pump(std::chrono::milliseconds(0)) > 0) {
        }
        return arrived > before;
      },
      [receiver = open(path, MQ_RECEIVE_ACCESS)] { return takeOne(receiver, size); });
}

void latency() {
  const Home home("msmq");
  createQueue(path);
  int arrivals[2];
  if (pipe(arrivals) != 0) std::exit(1);
  const pid_t child = fork();
  if (child == 0) {
    const Queue queue = openQueue();
    const Subscription events = queue.evtArrived([&](String&, String&) {
      const auto now = Clock::now();
      if (write(arrivals[1], &now, sizeof now) != sizeof now) _exit(1);
      queue.AcknowledgeDocument();
    });
    queue.ReceiveEnable();
    for (;;) Apartment::current().pump(std::chrono::seconds(10));
  }
  const Queue queue = openQueue();
  const String body(std::u16string(size, u'x'));
  std::vector<double> times;
  for (int i = 0; i < 500; ++i) {
    usleep(3000);  // it waits by now
    queue.SendDocument(body);
    const auto sent = Clock::now();
    Clock::time_point arrived;
    if (read(arrivals[0], &arrived, sizeof arrived) != sizeof arrived) std::exit(1);
    times.push_back(std::chrono::duration<double>(arrived - sent).count());
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  report("SendDocument returned to evtArrived", median(times) * 1e6, "us");
  report("  the slowest of 500", *std::max_element(times.begin(), times.end()) * 1e6, "us");
}

double residentMemory() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

void refreshing() {
  const Home home("msmq");
  createQueue(path);
  fill(path, 100000, size);
  const auto messages = listedMessages();
  report("Refresh of 100,000 messages", medianTime(turns, [&] { messages.Refresh(); }) * 1e3, "ms");
  report("  resident memory of the process", residentMemory(), "MiB");
}

void bodies() {
  const Home home("msmq");
  createQueue(path);
  fill(path, 2000, size);
  const auto messages = listedMessages();
  report("bodies of 2,000 messages, one by one",
         medianTime(turns,
                    [&] {
                      messages.Refresh();
                      for (const Message& message : messages)
                        if (message.Body().size() != size) std::exit(1);
                    }) *
             1e3,
         "ms");
}

void listing() {
  const Home home("msmq");
  for (int i = 0; i < 1000; ++i)
    createQueue(u".\\Queue" + std::u16string(String(std::u16string(1, char16_t(u'a' + i % 26))).view()) +
                std::u16string(static_cast<std::size_t>(i / 26), u'x'));
  const auto queues = CorvaneQueue::create<CorvaneQueue::Queues>();
  report("Queues.Refresh over 1,000 queues", medianTime(turns, [&] { queues.Refresh(); }) * 1e3, "ms");
  if (queues.Count() != 1000) std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) seconds = std::atof(argv[1]);
  if (argc > 2) turns = std::atoi(argv[2]);
  if (argc > 3) only = argv[3];
  std::printf("%-44s %8s %8s %8s\n", "1 KiB documents per second", "facade", "service", "ratio");
  if (wanted("send")) sending();
  if (wanted("taking")) taking();
  if (wanted("latency")) latency();
  if (wanted("refreshing")) refreshing();
  if (wanted("bodies")) bodies();
  if (wanted("listing")) listing();
}
