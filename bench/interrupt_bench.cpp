// Polling the interrupt flag while it is clear, against the floors of a bare atomic load, of the
// same load behind a call, and of that call into another shared library, which is what is_set
// costs at best from another binary; and is_set through the C interface beside the C++ call.
#include <atomic>
#include <string>

#include <benchmark/benchmark.h>

#include "install/cpputil/cpputil.h"
#include "install/cpputil/interrupt.hpp"

bool floor_library_load() noexcept;

namespace {

std::atomic<bool> bare_flag{false};

void BM_AtomicLoadFloor(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(bare_flag.load());
  }
}
BENCHMARK(BM_AtomicLoadFloor)->ThreadRange(1, 2);

[[gnu::noinline]] bool load_behind_a_call() noexcept { return bare_flag.load(); }

void BM_LoadBehindALibraryCallFloor(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(floor_library_load());
  }
}
BENCHMARK(BM_LoadBehindALibraryCallFloor)->ThreadRange(1, 2);

void BM_LoadBehindACallFloor(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(load_behind_a_call());
  }
}
BENCHMARK(BM_LoadBehindACallFloor)->ThreadRange(1, 2);

void BM_IsSetClear(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(install::cpputil::interrupt::is_set());
  }
}
BENCHMARK(BM_IsSetClear)->ThreadRange(1, 2);

void BM_IsSetClearThroughC(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(install_cpputil_interrupt_is_set());
  }
}
BENCHMARK(BM_IsSetClearThroughC)->ThreadRange(1, 2);

void BM_ThrowIfSetClear(benchmark::State& state) {
  std::string const tag = "copying";
  for (auto _ : state) {
    install::cpputil::interrupt::throw_if_set(tag);
  }
}
BENCHMARK(BM_ThrowIfSetClear)->ThreadRange(1, 2);

}  // namespace

BENCHMARK_MAIN();
