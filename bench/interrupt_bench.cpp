// Polling the interrupt flag while it is clear, against the floor of a bare atomic load.
#include <atomic>

#include <benchmark/benchmark.h>

#include "install/cpputil/interrupt.hpp"

namespace {

std::atomic<bool> bare_flag{false};

void BM_AtomicLoadFloor(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(bare_flag.load());
  }
}
BENCHMARK(BM_AtomicLoadFloor)->ThreadRange(1, 2);

void BM_IsSetClear(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(install::cpputil::interrupt::is_set());
  }
}
BENCHMARK(BM_IsSetClear)->ThreadRange(1, 2);

}  // namespace

BENCHMARK_MAIN();
