// The trace statement and the channel masks, on channels of this test's own.
#include "trace/trace.hpp"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "install/cpputil/diagnostics.hpp"
#include "install/cpputil/ustring.hpp"

#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

// Bits other than 4 and 8 change nothing; a disabled statement evaluates none of its pieces.
TEST(TraceStatement, MaskBitsSelectSeveritiesAndPiecesJoinWithoutSeparators) {
  static trace::DiagnosticLogger channel("test::channel");
  std::string const detail = "4  lead=narrow\xC3\xA9t\xC3\xA9\xF0\x9F\x98\x80truefalse\n";
  std::pair<std::uint32_t, std::string> const cases[] = {{0, ""},
                                                         {4, detail},
                                                         {8, "8 event\n"},
                                                         {0xFFFFFFF3U, ""},
                                                         {0xFFFFFFFFU, detail + "8 event\n"}};
  for (auto const& [mask, expected] : cases) {
    testing::TraceCapture capture("test::channel", mask);
    long evaluated = 0;
    CPPUTIL_TRACE(channel, 4) << " lead=" << std::string("narrow") << u"\u00E9t\u00E9"
                              << ustring(u"\U0001F600") << true << (++evaluated, false);
    CPPUTIL_TRACE(channel, 8) << (++evaluated, "event");
    EXPECT_EQ(capture.take(), expected) << mask;
    EXPECT_EQ(evaluated, std::count(expected.begin(), expected.end(), '\n')) << mask;
  }
}

// "*" sets every channel, those made later included; a name sets its own channel only.
TEST(ChannelMasks, StarSetsEveryChannelAndANameItsOwn) {
  diagnostics::set_channel_mask("test::early", 8);
  std::uint32_t const saved = diagnostics::channel_mask("*");
  diagnostics::set_channel_mask("*", 12);
  diagnostics::set_channel_mask("test::own", 4);
  trace::DiagnosticLogger const own("test::own");
  trace::DiagnosticLogger const later("test::later");
  EXPECT_TRUE(own.enabled(4) && !own.enabled(8) && later.enabled(8));
  std::pair<char const*, std::uint32_t> const masks[] = {
      {"test::early", 12}, {"test::own", 4}, {"test::later", 12}, {"*", 12}};
  for (auto const& [channel, mask] : masks) {
    EXPECT_EQ(diagnostics::channel_mask(channel), mask) << channel;
  }
  diagnostics::set_channel_mask("*", saved);
}

// Runs as its own CTest entry, with INSTALL_CPPUTIL_TRACE set before the process starts.
TEST(ChannelMasksFromEnvironment, ItemsApplyInOrderAndBadOnesAreSkipped) {
  if (std::getenv("INSTALL_CPPUTIL_TRACE") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    GTEST_SKIP() << "needs INSTALL_CPPUTIL_TRACE";
  }
  // "*=8,a::b=4,c::d=0x1F,bad,=3,e::f=12x,g::h=99999999999,*=0x0C,i::j=-1,x::y=10,=5": the
  // second "*" overrides every item before it; "i::j=-1" and "=5" after it are skipped.
  for (char const* channel : {"a::b", "c::d", "e::f", "g::h", "i::j", "", "never::named", "*"}) {
    EXPECT_EQ(diagnostics::channel_mask(channel), 12U) << channel;
  }
  EXPECT_EQ(diagnostics::channel_mask("x::y"), 10U);
}

}  // namespace
}  // namespace install::cpputil
