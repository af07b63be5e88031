// compareVersionNumbers beside glibc's strverscmp on the same 8-bit texts (the floor, where the C
// library has it) and a literal reading through std::istringstream and std::stoi (the peer it
// must agree with).
#include <algorithm>
#include <array>
#include <string>
#include <vector>

#if defined(__GLIBC__)
#include <string.h>  // strverscmp
#endif

#include <benchmark/benchmark.h>

#include "install/cpputil/VersionComparator.hpp"

#include "tests/support/LiteralVersion.hpp"

namespace cpputil = install::cpputil;

namespace {

struct Pair {
  char const* first;
  char const* second;
};
std::array<Pair, 4> const kPairs = {{
    {"10.2.0.1", "10.2.1"},
    {"1.2", "1.2.0"},
    {"3.14.159", "3.14.160"},
    {"2023.11.07.1234", "2023.11.07.1234"},
}};

void BM_CompareVersionNumbers(benchmark::State& state) {
  auto const& pair = kPairs.at(static_cast<std::size_t>(state.range(0)));
  cpputil::ustring const first = cpputil::utf8_to_ustring(pair.first);
  cpputil::ustring const second = cpputil::utf8_to_ustring(pair.second);
  cpputil::VersionComparator const comparator;
  for (auto _ : state) {
    benchmark::DoNotOptimize(comparator.compareVersionNumbers(first, second));
  }
}

#if defined(__GLIBC__)
void BM_Strverscmp(benchmark::State& state) {
  auto const& pair = kPairs.at(static_cast<std::size_t>(state.range(0)));
  std::string const first = pair.first;
  std::string const second = pair.second;
  for (auto _ : state) {
    benchmark::DoNotOptimize(::strverscmp(first.c_str(), second.c_str()));
  }
}
BENCHMARK(BM_Strverscmp)->DenseRange(0, kPairs.size() - 1);
#endif

void BM_IstringstreamStoi(benchmark::State& state) {
  auto const& pair = kPairs.at(static_cast<std::size_t>(state.range(0)));
  cpputil::ustring const first = cpputil::utf8_to_ustring(pair.first);
  cpputil::ustring const second = cpputil::utf8_to_ustring(pair.second);
  for (auto _ : state) {
    benchmark::DoNotOptimize(cpputil::test::literal_compare(first, second));
  }
}

BENCHMARK(BM_CompareVersionNumbers)->DenseRange(0, kPairs.size() - 1);
BENCHMARK(BM_IstringstreamStoi)->DenseRange(0, kPairs.size() - 1);

}  // namespace

BENCHMARK_MAIN();
