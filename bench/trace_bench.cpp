// Trace statements against Boost.Log's own statement and spdlog: disabled, and enabled into a
// sink that discards every record. Ours is reached as an application reaches it, through the
// library: interrupt::is_set() on a set flag traces " interruptStatus=" and true at severity 4,
// so its cost with the flag clear (no statement at all) is the floor under it.
#include <string>

#include <benchmark/benchmark.h>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include "install/cpputil/diagnostics.hpp"
#include "install/cpputil/interrupt.hpp"

namespace {

namespace logging = boost::log;
namespace interrupt = install::cpputil::interrupt;
using install::cpputil::diagnostics::set_channel_mask;

constexpr char const* kChannel = "install::cpputil::interrupt";

logging::sources::severity_channel_logger_mt<int, std::string>& plain() {
  static logging::sources::severity_channel_logger_mt<int, std::string> logger(
      logging::keywords::channel = kChannel);
  return logger;
}

std::shared_ptr<spdlog::logger> const& spd() {
  static auto const logger = [] {
    auto made =
        std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
    made->set_level(spdlog::level::info);  // debug is disabled
    return made;
  }();
  return logger;
}

class Discard : public logging::sinks::basic_sink_backend<logging::sinks::concurrent_feeding> {
 public:
  void consume(logging::record_view const& record) { benchmark::DoNotOptimize(&record); }
};
boost::shared_ptr<logging::sinks::synchronous_sink<Discard>> discard_sink;

void reset_core() {
  set_channel_mask(kChannel, 0);
  logging::core::get()->remove_all_sinks();
  logging::core::get()->reset_filter();
  interrupt::detail::unset();
}

void Disabled(benchmark::State const& /*state*/) {
  reset_core();
  interrupt::set();
}

void RejectedByCoreFilter(benchmark::State const& /*state*/) {
  reset_core();
  logging::core::get()->set_filter(logging::expressions::attr<int>("Severity") > 100);
}

void EnabledIntoDiscard(benchmark::State const& state) {
  Disabled(state);
  set_channel_mask(kChannel, 4);
  discard_sink = boost::make_shared<logging::sinks::synchronous_sink<Discard>>();
  logging::core::get()->add_sink(discard_sink);
}

void ResetCore(benchmark::State const& /*state*/) { reset_core(); }

void BM_IsSetClearFloor(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(interrupt::is_set());
  }
}
BENCHMARK(BM_IsSetClearFloor)->ThreadRange(1, 2);

void BM_DisabledTrace(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(interrupt::is_set());
  }
}
BENCHMARK(BM_DisabledTrace)->Setup(Disabled)->Teardown(ResetCore)->ThreadRange(1, 2);

void BM_BoostLogFilteredOut(benchmark::State& state) {
  auto& logger = plain();
  for (auto _ : state) {
    BOOST_LOG_SEV(logger, 4) << " interruptStatus=" << true;
  }
}
BENCHMARK(BM_BoostLogFilteredOut)
    ->Setup(RejectedByCoreFilter)
    ->Teardown(ResetCore)
    ->ThreadRange(1, 2);

void BM_SpdlogDisabledLevel(benchmark::State& state) {
  auto const& logger = spd();
  for (auto _ : state) {
    logger->debug(" interruptStatus={}", true);
  }
}
BENCHMARK(BM_SpdlogDisabledLevel)->ThreadRange(1, 2);

void BM_EnabledTraceDiscardSink(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(interrupt::is_set());
  }
}
BENCHMARK(BM_EnabledTraceDiscardSink)
    ->Setup(EnabledIntoDiscard)
    ->Teardown(ResetCore)
    ->ThreadRange(1, 2);

void BM_BoostLogDiscardSink(benchmark::State& state) {
  auto& logger = plain();
  for (auto _ : state) {
    BOOST_LOG_SEV(logger, 4) << " interruptStatus=" << true;
  }
}
BENCHMARK(BM_BoostLogDiscardSink)
    ->Setup(EnabledIntoDiscard)
    ->Teardown(ResetCore)
    ->ThreadRange(1, 2);

}  // namespace

BENCHMARK_MAIN();
