#include <benchmark/benchmark.h>

#include "BenchmarkData.h"
#include "GitHistoryReader.h"
#include "GitLogParser.h"
#include "GitStatusParser.h"
#include "StatusCollector.h"

namespace {

/// Feeds the output in pieces of the size that a pipe gives, and checks that as much came out of it as went in.
template <class Feed>
bool feedInPieces(const std::string& output, const Feed& feed) {
  constexpr std::size_t piece = std::size_t{256} << 10;
  for (std::size_t place = 0; place < output.size(); place += piece) {
    if (!feed(std::string_view(output).substr(place, piece))) return false;
  }
  return true;
}

void report(benchmark::State& state, const std::string& output) {
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(output.size()));
}

void parseLog(benchmark::State& state) {
  std::string output = benchmarkdata::logOutput(state.range(0));
  for (auto _ : state) {
    GitLogParser parser;
    std::int64_t records = 0;
    auto sink = [&](const GitLogRecord&) { ++records; };
    feedInPieces(output, [&](std::string_view piece) { return parser.feed(piece, sink); });
    parser.finish(sink);
    if (records != state.range(0)) return state.SkipWithError("records are missing");
  }
  report(state, output);
}

// The same up to the log items that are sent.
void readHistory(benchmark::State& state) {
  std::string output = benchmarkdata::logOutput(state.range(0));
  for (auto _ : state) {
    GitHistoryReader reader({}, false, nullptr, nullptr);
    feedInPieces(output, [&](std::string_view piece) { return reader.feed(piece); });
    if (!reader.finish() || std::ssize(reader.items()) != state.range(0)) {
      return state.SkipWithError("items are missing");
    }
  }
  report(state, output);
}

// Up to the report that is sent.
void readStatus(benchmark::State& state) {
  std::string output = benchmarkdata::statusOutput(state.range(0));
  for (auto _ : state) {
    GitStatusParser parser;
    qrb::StatusCollector collector;
    auto sink = [&](const GitStatusRecord& record) { collector.add(record.path, record.status); };
    feedInPieces(output, [&](std::string_view piece) { return parser.feed(piece, sink); });
    if (!parser.finish()) return state.SkipWithError("malformed");
    benchmark::DoNotOptimize(collector.take());
  }
  report(state, output);
}

BENCHMARK(parseLog)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(readHistory)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(readStatus)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
