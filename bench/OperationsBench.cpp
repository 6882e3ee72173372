// What operators do with very many documents of 1 KiB, with one sender at work. Prints Markdown: the time of
// each operation, its rate, the longest wait of the sender meanwhile, and by how much the memory of the
// process had grown at its peak. Usage: operations_bench [documents] [db or msmq]
#include <CorvaneQueue/CorvaneQueue.h>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>

namespace {

using namespace CorvaneQueue;
using Clock = std::chrono::steady_clock;
double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

struct Shared {
  std::atomic<std::int64_t> longest;  // wait of the sender, in microseconds
  std::atomic<std::int64_t> sent;
};

double peakMemory() {  // MiB
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024;
}

pid_t startSender(Shared& shared) {
  const pid_t child = fork();
  if (child != 0) return child;
  auto queue = create<Queue>();
  queue->Initialize("Busy");
  const String body(std::u16string(1024, u'b'));
  while (true) {
    const auto start = Clock::now();
    queue->SendDocument(body);
    const auto wait = static_cast<std::int64_t>(since(start) * 1e6);
    if (wait > shared.longest) shared.longest = wait;
    ++shared.sent;
    usleep(1000);
  }
}

void fill(int documents) {
  auto queue = create<Queue>();
  queue->Initialize("Orders");
  if (create<Utility>()->QueueStoreType() == u"msmq") queue->JournalEnabled(true);
  const std::u16string text(1000, u'x');
  for (int i = 0; i < documents;) {
    queue->BeginTransaction();
    for (const int end = std::min(i + 1000, documents); i < end; ++i) {
      queue->MsgType(i % 1000 == 999 ? "RARE" : "COMMON");
      queue->ObjectID(std::to_string(i));
      queue->SendDocument(std::to_string(i) + " ends " + toUtf8(text));
    }
    queue->Commit();
  }
}

struct Measured {
  Shared& shared;
  double memory = peakMemory();
  // How many documents it deals with, 0 for one answer.
  template <class Work>
  void row(const char* what, int documents, Work work) const {
    shared.longest = 0;
    const auto start = Clock::now();
    work();
    const double time = since(start);
    std::printf("| %s | %.2f ms | %.0f/s | %.1f ms | %.0f MiB |\n", what, time * 1e3,
                documents == 0 ? 1 / time : documents / time, static_cast<double>(shared.longest) / 1e3,
                peakMemory() - memory);
    std::fflush(stdout);
  }
};

void measure(Shared& shared, int documents, const std::filesystem::path& home) {
  const auto operations = create<Operations>();
  const auto where = [&](const char* conditions) {
    const auto filter = operations->NewFilter();
    filter->Text(conditions);
    return filter;
  };
  const auto firstPage = [&](const char* conditions, bool isBackward = false) {
    const auto found = operations->Search("Orders", false, where(conditions));
    found->Backward(isBackward);
    if (!found->NextPage()) std::abort();
  };
  static_cast<void>(operations->Statistics("Orders"));
  const Measured measured{shared};
  const std::string last = std::to_string(documents - 1);
  measured.row("Statistics", 0, [&] { static_cast<void>(operations->Statistics("Orders")); });
  measured.row("first page, every document", 0, [&] { firstPage(""); });
  measured.row("first page, the newest first", 0, [&] { firstPage("", true); });
  measured.row("first page, one field, every second", 0, [&] { firstPage("MsgType equal \"COMMON\""); });
  measured.row("first page, one field, every 1,000th", 0, [&] { firstPage("MsgType equal \"RARE\""); });
  measured.row("a single document, by a field, the last one", documents,
               [&] { firstPage(("ObjectID equal \"" + last + "\"").c_str()); });
  measured.row("the last one by what is in it", documents,
               [&] { firstPage(("Body contains \"" + last + " ends\"").c_str()); });
  measured.row("Export", documents,
               [&] { operations->Export("Orders", false, {}, (home / "out.jsonl").string()); });
  measured.row("Import", documents, [&] { operations->Import((home / "out.jsonl").string(), "Imported"); });
  measured.row("Copy of 100,000", std::min(documents, 100'000), [&] {
    operations->Copy(
        "Orders", false, "Copies",
        where(("ObjectID begins with \"1\" and ID to \"" + std::to_string(documents) + "\"").c_str()));
  });
  measured.row("Move", documents, [&] { operations->Move("Orders", false, "Moved"); });
  measured.row("Acknowledge", documents, [&] { operations->Acknowledge("Moved"); });
  measured.row("Redrive", documents, [&] { operations->Redrive("Moved"); });
  operations->Acknowledge("Moved");
  measured.row("Backup", documents, [&] { operations->Backup((home / "backup").string()); });
  measured.row("Prune", documents, [&] { operations->Prune("Moved", -1, 0); });
  measured.row("Delete", documents, [&] { operations->Delete("Imported", false); });
  measured.row("Compact", 0, [&] { operations->Compact(); });
  measured.row("Verify", 0, [&] { static_cast<void>(operations->Verify()); });
}

}  // namespace

int main(int argc, char** argv) {
  const int documents = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
  for (const std::string type : {"db", "msmq"}) {
    if (argc > 2 && type != argv[2]) continue;
    std::string directory = (std::filesystem::current_path() / "corvane-bench-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) return 1;
    setenv("CORVANE_HOME", directory.c_str(), 1);
    std::ofstream(directory + "/settings.toml")
        << "[Configuration.Global]\nQueueStoreType = \"" << type << "\"\n";
    auto* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Shared& shared = *new (memory) Shared();
    const pid_t filler = fork();
    if (filler == 0) {
      fill(documents);
      for (const char* name : {"Imported", "Copies", "Moved"}) create<Utility>()->CreateQueue(name);
      if (type == "msmq") {
        const auto moved = create<Queue>();
        moved->Initialize("Moved");
        moved->JournalEnabled(true);
      }
      _exit(0);
    }
    waitpid(filler, nullptr, 0);
    const pid_t sender = startSender(shared);
    std::printf(
        "\n%s, %d documents:\n\n| | time | rate | longest wait of a sender | memory |\n|---|---|---|---|---|\n",
        type.c_str(), documents);
    std::fflush(stdout);
    const pid_t measuring = fork();
    if (measuring == 0) {
      try {
        measure(shared, documents, directory);
      } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        _exit(1);
      }
      std::fflush(stdout);
      _exit(0);
    }
    int status = 0;
    waitpid(measuring, &status, 0);
    kill(sender, SIGKILL);
    waitpid(sender, nullptr, 0);
    std::filesystem::remove_all(directory);
    if (status != 0) return 1;
  }
}
