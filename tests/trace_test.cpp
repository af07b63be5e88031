// The trace statement itself, on channels of this test's own.
#include "trace/trace.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

#include <boost/log/core.hpp>
#include <gtest/gtest.h>

#include "install/cpputil/diagnostics.hpp"
#include "install/cpputil/ustring.hpp"

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace {
std::atomic<long> allocations{0};
}  // namespace

// Counts every allocation of the process, to show that a disabled statement makes none.
// GCC cannot see that these replace the global pair and warns about malloc/delete pairing.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) {  // NOLINT(cppcoreguidelines-no-malloc)
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }  // NOLINT
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);  // NOLINT(cppcoreguidelines-no-malloc)
}

namespace install::cpputil {
namespace {

using testing::TraceCapture;
using testing::TraceRecord;

trace::DiagnosticLogger& test_channel() {
  static trace::DiagnosticLogger channel("test::channel");
  return channel;
}

struct Counted {
  int* count;
};
std::ostream& operator<<(std::ostream& out, Counted const& piece) {
  ++*piece.count;
  return out << "counted";
}

struct Throwing {};
std::ostream& operator<<(std::ostream& /*out*/, Throwing const& /*piece*/) {
  throw std::runtime_error("formatting failed");
}

TEST(TraceStatement, DisabledStatementEvaluatesAndAllocatesNothing) {
  TraceCapture capture;
  capture.enable("test::channel", 8);
  int evaluated = 0;
  auto piece = [&evaluated] {
    ++evaluated;
    return ustring(u"never converted");
  };
  auto& channel = test_channel();  // built before counting
  long const before = allocations.load();
  CPPUTIL_TRACE(channel, 4) << piece() << Counted{&evaluated};
  long const after = allocations.load();
  EXPECT_EQ(evaluated, 0);
  EXPECT_EQ(after, before);
  EXPECT_TRUE(capture.records().empty());
}

TEST(TraceStatement, MaskBitsSelectSeverities) {
  struct Case {
    std::uint32_t mask;
    bool detail;
    bool event;
  };
  Case const cases[] = {
      {0, false, false},           {4, true, false}, {8, false, true}, {12, true, true},
      {0xFFFFFFF3U, false, false},  // every other bit changes nothing
      {0xFFFFFFFFU, true, true},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.mask);
    TraceCapture capture;
    capture.enable("test::channel", c.mask);
    CPPUTIL_TRACE(test_channel(), 4) << "detail";
    CPPUTIL_TRACE(test_channel(), 8) << "event";
    std::vector<TraceRecord> expected;
    if (c.detail) {
      expected.push_back({"test::channel", 4, "detail"});
    }
    if (c.event) {
      expected.push_back({"test::channel", 8, "event"});
    }
    EXPECT_EQ(capture.records(), expected);
  }
}

TEST(TraceStatement, PiecesAreJoinedWithoutSeparators) {
  TraceCapture capture;
  capture.enable("test::channel", 4);
  std::string const narrow = "narrow";
  CPPUTIL_TRACE(test_channel(), 4)
      << " lead=" << narrow << u"\u00E9t\u00E9" << ustring(u"\U0001F600") << true << false;
  EXPECT_EQ(capture.records(),
            (std::vector<TraceRecord>{
                {"test::channel", 4, " lead=narrow\xC3\xA9t\xC3\xA9\xF0\x9F\x98\x80truefalse"}}));
}

TEST(TraceStatement, StatementKeepsACallersElseBranch) {
  TraceCapture capture;
  capture.enable("test::channel", 0);
  bool else_taken = false;
  if (false)  // NOLINT(readability-simplify-boolean-expr)
    CPPUTIL_TRACE(test_channel(), 4) << "x";
  else
    else_taken = true;
  EXPECT_TRUE(else_taken);
}

TEST(TraceStatement, FormattingExceptionDropsTheRecordAndReachesTheCaller) {
  TraceCapture capture;
  capture.enable("test::channel", 4);
  EXPECT_THROW(CPPUTIL_TRACE(test_channel(), 4) << "before" << Throwing{}, std::runtime_error);
  CPPUTIL_TRACE(test_channel(), 4) << "after";
  EXPECT_EQ(capture.texts("test::channel"), std::vector<std::string>{"after"});
}

struct TracesWhileUnwinding {
  ~TracesWhileUnwinding() { CPPUTIL_TRACE(test_channel(), 4) << "unwinding"; }
};

TEST(TraceStatement, RecordOpenedDuringUnrelatedUnwindingIsPushed) {
  TraceCapture capture;
  capture.enable("test::channel", 4);
  try {
    TracesWhileUnwinding const guard;
    throw std::logic_error("unrelated");
  } catch (std::logic_error const&) {
  }
  EXPECT_EQ(capture.texts("test::channel"), std::vector<std::string>{"unwinding"});
}

TEST(TraceStatement, DisabledCoreOpensNoRecord) {
  TraceCapture capture;
  capture.enable("test::channel", 4);
  boost::log::core::get()->set_logging_enabled(false);
  int evaluated = 0;
  CPPUTIL_TRACE(test_channel(), 4) << Counted{&evaluated};
  boost::log::core::get()->set_logging_enabled(true);
  EXPECT_EQ(evaluated, 0);
  EXPECT_TRUE(capture.records().empty());
}

TEST(ChannelMasks, SetBeforeOrAfterTheChannelExistsAndStar) {
  diagnostics::set_channel_mask("test::later", 8);
  trace::DiagnosticLogger const later("test::later");
  EXPECT_TRUE(later.enabled(8));
  EXPECT_FALSE(later.enabled(4));
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
  // "*=8,a::b=4,c::d=0x1F,bad,=3,e::f=12x,g::h=99999999999,*=0x0C,i::j=-1"
  EXPECT_EQ(diagnostics::channel_mask("a::b"), 12U);  // the second * overrides the named item
  EXPECT_EQ(diagnostics::channel_mask("c::d"), 12U);
  EXPECT_EQ(diagnostics::channel_mask("e::f"), 12U);
  EXPECT_EQ(diagnostics::channel_mask("g::h"), 12U);
  EXPECT_EQ(diagnostics::channel_mask("never::named"), 12U);
  EXPECT_EQ(diagnostics::channel_mask("*"), 12U);
}

}  // namespace
}  // namespace install::cpputil
