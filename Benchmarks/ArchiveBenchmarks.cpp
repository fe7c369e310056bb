#include <benchmark/benchmark.h>

#include <random>

#include "BenchmarkData.h"
#include "Codec.h"
#include "MessageScanner.h"
#include "QRBSourceControlLogItem.h"

namespace {

using Items = benchmarkdata::Items;

template <class T>
std::string encode(const T& value) {
  std::string bytes;
  qrb::ArchiveWriterTables tables;
  qrb::ArchiveWriter writer(bytes, tables);
  qrb::Codec<T>::write(writer, value);
  return bytes;
}

template <class T>
T decode(std::string bytes) {
  qrb::ArchiveReaderTables tables;
  auto message = qrb::ArchiveMessage::parse(std::move(bytes), tables);
  return qrb::Codec<T>::read(message->root());
}

void report(benchmark::State& state, std::size_t bytes) {
  std::int64_t items = state.range(0);
  state.SetItemsProcessed(state.iterations() * items);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
  state.counters["bytes/item"] = static_cast<double>(bytes) / static_cast<double>(items);
}

template <class T>
void encodeAll(benchmark::State& state, const T& value) {
  std::size_t bytes = 0;
  for (auto _ : state) bytes = encode(value).size();
  report(state, bytes);
}

template <class T>
void decodeAll(benchmark::State& state, const T& value) {
  std::string bytes = encode(value);
  for (auto _ : state) benchmark::DoNotOptimize(decode<T>(bytes));
  report(state, bytes.size());
}

void encodeLogItems(benchmark::State& state) {
  encodeAll(state, benchmarkdata::logItems(state.range(0)));
}

void decodeLogItems(benchmark::State& state) {
  decodeAll(state, benchmarkdata::logItems(state.range(0)));
}

void encodeStatuses(benchmark::State& state) {
  encodeAll(state, benchmarkdata::statuses(state.range(0)));
}

void decodeStatuses(benchmark::State& state) {
  decodeAll(state, benchmarkdata::statuses(state.range(0)));
}

// As a connection does: the bytes come in pieces, and each time it must be known whether the message is whole.
void scanMessage(benchmark::State& state) {
  std::string bytes = encode(benchmarkdata::logItems(state.range(0)));
  constexpr std::size_t piece = std::size_t{64} << 10;
  for (auto _ : state) {
    qrb::MessageScanner scanner;
    for (std::size_t held = 0; held < bytes.size();) {
      held = std::min(held + piece, bytes.size());
      if (scanner.scan(std::string_view(bytes).substr(0, held)) == qrb::MessageScanner::Outcome::refused) {
        return state.SkipWithError("refused");
      }
    }
  }
  report(state, bytes.size());
}

BENCHMARK(encodeLogItems)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(decodeLogItems)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(encodeStatuses)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(decodeStatuses)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(scanMessage)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
