// The trace statement itself, on channels of this test's own.
#include "trace/trace.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

#include <boost/log/core.hpp>
#include <gtest/gtest.h>

#include "install/cpputil/diagnostics.hpp"
#include "install/cpputil/ustring.hpp"

#include "support/TraceCapture.hpp"

static std::atomic<long> allocations{0};

// Counts every allocation of the process, to show that a disabled statement makes none.
// GCC cannot see that these replace the global pair and warns about malloc/delete pairing.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  ++allocations;
  void* memory = std::malloc(size == 0 ? 1 : size);  // NOLINT(cppcoreguidelines-no-malloc)
  return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }                        // NOLINT
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }  // NOLINT

namespace install::cpputil {
namespace {

using testing::TraceCapture;
using testing::TraceRecord;

trace::DiagnosticLogger& test_channel() {
  static trace::DiagnosticLogger channel("test::channel");
  return channel;
}

char const* counted(int& count) {
  ++count;
  return "counted";
}
char const* throwing() { throw std::runtime_error("formatting failed"); }

TEST(TraceStatement, DisabledStatementEvaluatesAndAllocatesNothing) {
  TraceCapture capture;
  capture.enable("test::channel", 8);
  int evaluated = 0;
  auto& channel = test_channel();  // built before counting
  long const before = allocations.load();
  CPPUTIL_TRACE(channel, 4) << ustring(u"allocates if built") << counted(evaluated);
  EXPECT_EQ(allocations.load(), before);
  // Enabled by the mask but not by the core: the record stays closed.
  boost::log::core::get()->set_logging_enabled(false);
  CPPUTIL_TRACE(channel, 8) << counted(evaluated);
  boost::log::core::get()->set_logging_enabled(true);
  EXPECT_EQ(evaluated, 0);
  EXPECT_TRUE(capture.records().empty());
}

// Bits other than 4 and 8 change nothing.
TEST(TraceStatement, MaskBitsSelectSeveritiesAndPiecesJoinWithoutSeparators) {
  TraceRecord const detail{"test::channel", 4,
                           " lead=narrow\xC3\xA9t\xC3\xA9\xF0\x9F\x98\x80truefalse"};
  TraceRecord const event{"test::channel", 8, "event"};
  std::pair<std::uint32_t, std::vector<TraceRecord>> const cases[] = {
      {0, {}}, {4, {detail}}, {8, {event}}, {0xFFFFFFF3U, {}}, {0xFFFFFFFFU, {detail, event}}};
  for (auto const& [mask, expected] : cases) {
    SCOPED_TRACE(mask);
    TraceCapture capture;
    capture.enable("test::channel", mask);
    CPPUTIL_TRACE(test_channel(), 4) << " lead=" << std::string("narrow") << u"\u00E9t\u00E9"
                                     << ustring(u"\U0001F600") << true << false;
    CPPUTIL_TRACE(test_channel(), 8) << "event";
    EXPECT_EQ(capture.records(), expected);
  }
}

struct TracesWhileUnwinding {
  ~TracesWhileUnwinding() { CPPUTIL_TRACE(test_channel(), 4) << "unwinding"; }
};

// A caller's else stays its own; a piece that throws drops its record, while one opened during
// unrelated unwinding is pushed.
TEST(TraceStatement, ElseBranchExceptionsAndUnwinding) {
  TraceCapture capture;
  capture.enable("test::channel", 4);
  bool else_taken = false;
  if (false)  // NOLINT(readability-simplify-boolean-expr)
    CPPUTIL_TRACE(test_channel(), 8) << "x";
  else
    else_taken = true;
  EXPECT_TRUE(else_taken);
  EXPECT_THROW(CPPUTIL_TRACE(test_channel(), 4) << "before" << throwing(), std::runtime_error);
  try {
    TracesWhileUnwinding const guard;
    throw std::logic_error("unrelated");
  } catch (std::logic_error const&) {
  }
  EXPECT_EQ(capture.texts("test::channel"), std::vector<std::string>{"unwinding"});
}

TEST(ChannelMasks, SetBeforeOrAfterTheChannelExistsAndStar) {
  diagnostics::set_channel_mask("test::later", 8);
  trace::DiagnosticLogger const later("test::later");
  EXPECT_TRUE(later.enabled(8) && !later.enabled(4));
  diagnostics::set_channel_mask("test::later", 4);
  EXPECT_TRUE(later.enabled(4));

  std::uint32_t const saved = diagnostics::channel_mask("*");
  diagnostics::set_channel_mask("*", 12);
  trace::DiagnosticLogger const fresh("test::fresh");
  EXPECT_TRUE(fresh.enabled(4) && fresh.enabled(8) && later.enabled(8));
  EXPECT_EQ(diagnostics::channel_mask("*"), 12U);
  diagnostics::set_channel_mask("*", saved);
  EXPECT_EQ(diagnostics::channel_mask("test::fresh"), saved);
}

// Runs as its own CTest entry, with INSTALL_CPPUTIL_TRACE set before the process starts.
TEST(ChannelMasksFromEnvironment, ItemsApplyInOrderAndBadOnesAreSkipped) {
  if (std::getenv("INSTALL_CPPUTIL_TRACE") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    GTEST_SKIP() << "needs INSTALL_CPPUTIL_TRACE";
  }
  // "*=8,a::b=4,c::d=0x1F,bad,=3,e::f=12x,g::h=99999999999,*=0x0C,i::j=-1": the second "*"
  // overrides every item before it, and "i::j=-1" after it is skipped.
  for (char const* channel : {"a::b", "c::d", "e::f", "g::h", "i::j", "never::named", "*"}) {
    EXPECT_EQ(diagnostics::channel_mask(channel), 12U) << channel;
  }
}

}  // namespace
}  // namespace install::cpputil
