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
