#include <benchmark/benchmark.h>

#include <string>

#include "upload/Base64.h"

static void EncodeOneLine(benchmark::State& state) {
  const std::string bytes(static_cast<std::size_t>(state.range(0)), '\xA5');
  for (auto _ : state) benchmark::DoNotOptimize(Base64Encode(bytes, 0, '\n'));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(EncodeOneLine)->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 20)->Arg(64 << 20);

BENCHMARK_MAIN();
