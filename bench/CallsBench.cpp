// The cost of single calls.
#include "DbUtility.h"
#include "EmbeddedPlatform.h"
#include "modCompress.h"
#include "SqliteStore.h"

#include <benchmark/benchmark.h>
#include <CorvaneQueue/CorvaneQueue.h>
#include <unistd.h>
#include <zstd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

using namespace CorvaneQueue;

namespace {

struct Home {
  Home() {
    std::string pattern = "/tmp/corvane-bench-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    directory = pattern;
    setenv("CORVANE_HOME", directory.c_str(), 1);
    std::ofstream(directory / "settings.toml") << "[Configuration.Global]\nQueueStoreType = \"db\"\n";
    usleep(200000);  // a file just written is read anew each time
  }
  ~Home() { std::filesystem::remove_all(directory); }
  std::filesystem::path directory;
} home;

Ref<_Queue> openQueue() {
  const auto queue = create<_Queue>(u"CorvaneQueue.Queue");
  call<&_Queue::raw_Initialize>(queue, u"Orders", false);
  return queue;
}

void getMsgType(benchmark::State& state) {
  const auto queue = openQueue();
  call<&_Queue::put_MsgType>(queue, u"ORDER");
  for (auto _ : state) {
    BSTR text = nullptr;
    queue->get_MsgType(&text);
    SysFreeString(text);
  }
}
BENCHMARK(getMsgType);

// The same through the client's handle.
void getMsgTypeOfHandle(benchmark::State& state) {
  const Queue queue(openQueue());
  queue->MsgType(u"ORDER");
  for (auto _ : state) benchmark::DoNotOptimize(queue->MsgType());
}
BENCHMARK(getMsgTypeOfHandle);

// The same by dispatch identifier, and by name each time.
void getMsgTypeLate(benchmark::State& state) {
  const auto queue = openQueue();
  call<&_Queue::put_MsgType>(queue, u"ORDER");
  char16_t name[] = u"MsgType";
  LPOLESTR names[] = {name};
  DISPID id = 0;
  DISPPARAMS none{};
  queue->GetIDsOfNames(IID_NULL, names, 1, 1033, &id);
  for (auto _ : state) {
    if (state.range(0) != 0) queue->GetIDsOfNames(IID_NULL, names, 1, 1033, &id);
    Variant text;
    queue->Invoke(id, IID_NULL, 1033, DISPATCH_PROPERTYGET, &none, text.address(), nullptr, nullptr);
  }
}
BENCHMARK(getMsgTypeLate)->ArgName("byName")->Arg(0)->Arg(1);

void letMsgType(benchmark::State& state) {
  const auto queue = openQueue();
  const String text(u"ORDER");
  for (auto _ : state) queue->put_MsgType(text.bstr());
}
BENCHMARK(letMsgType);

void readSetting(benchmark::State& state) {
  const auto utility = create<_Utility>(u"CorvaneQueue.Utility");
  for (auto _ : state) benchmark::DoNotOptimize(call<&_Utility::get_QueueStoreType>(utility));
}
BENCHMARK(readSetting);

void createAndInitialise(benchmark::State& state) {
  for (auto _ : state) openQueue();
}
BENCHMARK(createAndInitialise);

// A list of so many documents.
Messages filled(std::int64_t count) {
  const auto queue = create<Queue>();
  const std::string name = "Filled" + std::to_string(count);
  queue->Initialize(name);
  if (queue->IsEmpty()) {
    queue->BeginTransaction();
    for (std::int64_t i = 0; i < count; ++i) queue->SendDocument(u"x");
    queue->Commit();
  }
  auto messages = create<Queues>()->Item(name)->Messages();
  messages->Refresh();
  return messages;
}
void itemByPosition(benchmark::State& state) {
  const auto messages = filled(state.range(0));
  std::int32_t position = 0;
  for (auto _ : state) {
    position = position % messages->Count() + 1;
    benchmark::DoNotOptimize(messages->Item(position));
  }
}
BENCHMARK(itemByPosition)->Arg(100)->Arg(100000);
void itemByKey(benchmark::State& state) {
  const auto messages = filled(state.range(0));
  std::vector<String> keys;
  for (const auto& message : messages) keys.push_back(message->ID());
  std::size_t at = 0;
  for (auto _ : state) benchmark::DoNotOptimize(messages->Item(keys[++at % keys.size()]));
}
BENCHMARK(itemByKey)->Arg(100)->Arg(100000);

void listQueues(benchmark::State& state) {
  const auto utility = create<Utility>();
  for (std::int64_t i = create<Queues>()->Count(); i < state.range(0); ++i)
    utility->CreateQueue("Queue " + std::to_string(i));
  for (auto _ : state) benchmark::DoNotOptimize(create<Queues>());
}
BENCHMARK(listQueues)->Arg(10000)->Unit(benchmark::kMillisecond);

std::u16string document(std::size_t size) {
  std::mt19937 random(1);
  std::u16string text;
  while (text.size() < size)
    text += u"<line number=\"" + std::u16string(1, static_cast<char16_t>(u'0' + random() % 10)) + u"\"/>\n";
  text.resize(size);
  return text;
}

void compress(benchmark::State& state) {
  platform_layer::EmbeddedPlatform embedded(store::sqliteStore());
  const ScopedPlatform door(embedded.door());
  const Variant source{String(document(static_cast<std::size_t>(state.range(0))))};
  for (auto _ : state) modCompress::Compress(source.get());
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(compress)->Arg(1024)->Arg(16384)->Arg(1 << 20);

void bareZstd(benchmark::State& state) {
  const std::string source = toUtf8(document(static_cast<std::size_t>(state.range(0))));
  std::string target(ZSTD_compressBound(source.size()), '\0');
  ZSTD_CCtx* context = ZSTD_createCCtx();
  ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, 9);
  ZSTD_CCtx_setParameter(context, ZSTD_c_checksumFlag, 1);
  for (auto _ : state)
    benchmark::DoNotOptimize(
        ZSTD_compress2(context, target.data(), target.size(), source.data(), source.size()));
  state.SetBytesProcessed(state.iterations() * state.range(0));
  ZSTD_freeCCtx(context);
}
BENCHMARK(bareZstd)->Arg(1024)->Arg(16384)->Arg(1 << 20);

}  // namespace

BENCHMARK_MAIN();
