#include "install/cpputil/interrupt.hpp"

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

using testing::ScopedEnv;
using testing::TraceCapture;
using testing::TraceRecord;

constexpr char const* kChannel = "install::cpputil::interrupt";

class Interrupt : public ::testing::Test {
 protected:
  void SetUp() override { capture_.enable(kChannel, 4 | 8); }
  void TearDown() override { interrupt::detail::unset(); }
  TraceRecord record(int severity, std::string text) const {
    return {kChannel, severity, std::move(text)};
  }

  TraceCapture capture_;
};

TEST_F(Interrupt, ClearFlagIsSilent) {
  EXPECT_FALSE(interrupt::is_set());
  EXPECT_NO_THROW(interrupt::throw_if_set("tag"));
  EXPECT_TRUE(capture_.records().empty());
}

TEST_F(Interrupt, ThrowIfSetUsesTheTagAndLeavesTheFlagSet) {
  interrupt::set();
  struct Case {
    std::string tag;
    char const* what;
    char const* trace;
  };
  Case const cases[] = {
      {"", "Interrupted.", "Throw interrupt::Exception with DEFAULT tag."},
      {"copy files", "Interrupted. copy files", "Throw interrupt::Exception tag copy files"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.tag);
    capture_.clear();
    try {
      interrupt::throw_if_set(c.tag);
      ADD_FAILURE() << "no exception";
    } catch (interrupt::Exception const& error) {
      EXPECT_STREQ(error.what(), c.what);
    }
    EXPECT_TRUE(interrupt::is_set());
    auto const records = capture_.records();
    ASSERT_EQ(records.size(), 3U);
    EXPECT_EQ(records[0], record(4, " interruptStatus=true"));
    EXPECT_EQ(records[1], record(8, c.trace));
    EXPECT_EQ(records[2], record(4, " interruptStatus=true"));
  }
}

TEST_F(Interrupt, SetAndUnsetTraceEveryCall) {
  interrupt::set();
  interrupt::set();
  interrupt::detail::unset();
  interrupt::detail::unset();
  EXPECT_FALSE(interrupt::is_set());
  EXPECT_NO_THROW(interrupt::throw_if_set(""));
  EXPECT_EQ(capture_.records(), (std::vector<TraceRecord>{
                                    record(8, "Set INTERRUPT."), record(8, "Set INTERRUPT."),
                                    record(8, "Unset INTERRUPT."), record(8, "Unset INTERRUPT.")}));
}

TEST_F(Interrupt, MaskSelectsSeverities) {
  interrupt::set();
  struct Case {
    std::uint32_t mask;
    std::vector<TraceRecord> expected;
  };
  std::vector<Case> const cases = {
      {4, {record(4, " interruptStatus=true")}},
      {8, {record(8, "Throw interrupt::Exception tag t")}},
      {0xFFFFFFF3U, {}},  // every bit but 4 and 8
      {0, {}},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.mask);
    capture_.enable(kChannel, c.mask);
    capture_.clear();
    EXPECT_THROW(interrupt::throw_if_set("t"), interrupt::Exception);
    EXPECT_EQ(capture_.records(), c.expected);
  }
}

TEST_F(Interrupt, SetOnOneThreadIsSeenByPollingThreads) {
  capture_.enable(kChannel, 0);
  std::atomic<int> stopped{0};
  std::vector<std::thread> workers;
  for (int i = 0; i < 4; ++i) {
    workers.emplace_back([&stopped] {
      try {
        for (;;) {
          interrupt::throw_if_set("worker");
        }
      } catch (interrupt::Exception const&) {
        ++stopped;
      }
    });
  }
  interrupt::set();
  for (auto& worker : workers) {
    worker.join();
  }
  EXPECT_EQ(stopped.load(), 4);
}

TEST_F(Interrupt, PauseReturnsAtOnceWhenTheVariableIsUndefined) {
  ScopedEnv const env("CPPUTIL_TEST_PAUSE", std::nullopt);
  interrupt::set();
  // With the flag set, any check would have thrown.
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set("CPPUTIL_TEST_PAUSE"));
  EXPECT_EQ(capture_.records(), (std::vector<TraceRecord>{record(8, "Set INTERRUPT.")}));
}

TEST_F(Interrupt, PauseWithTheFlagAlreadySetThrowsAfterItsNotice) {
  ScopedEnv const env("CPPUTIL_TEST_PAUSE", "");  // defined but empty still counts
  interrupt::set();
  capture_.clear();
  try {
    interrupt::test::pause_and_throw_if_set("CPPUTIL_TEST_PAUSE");
    ADD_FAILURE() << "no exception";
  } catch (interrupt::Exception const& error) {
    EXPECT_STREQ(error.what(), "Interrupted. env CPPUTIL_TEST_PAUSE is set.");
  }
  auto const records = capture_.records();
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[0],
            record(8, "env CPPUTIL_TEST_PAUSE is set. Waiting 1 minute for interrupt..."));
  EXPECT_EQ(records[1], record(4, " interruptStatus=true"));
  EXPECT_EQ(records[2], record(8, "Throw interrupt::Exception tag env CPPUTIL_TEST_PAUSE is set."));
  EXPECT_TRUE(interrupt::is_set());
}

TEST_F(Interrupt, PauseEndsSoonAfterAnotherThreadSetsTheFlag) {
  ScopedEnv const env("CPPUTIL_TEST_PAUSE", "1");
  std::thread setter([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    interrupt::set();
  });
  // A pause that missed the flag would return normally after its minute.
  EXPECT_THROW(interrupt::test::pause_and_throw_if_set("CPPUTIL_TEST_PAUSE"), interrupt::Exception);
  setter.join();
}

// The whole minute: run with --gtest_also_run_disabled_tests.
TEST_F(Interrupt, DISABLED_PauseReturnsAfterAMinuteWhenNobodyInterrupts) {
  ScopedEnv const env("CPPUTIL_TEST_PAUSE", "1");
  capture_.enable(kChannel, 8);
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set("CPPUTIL_TEST_PAUSE"));
  EXPECT_EQ(capture_.records().size(), 1U);
}

}  // namespace
}  // namespace install::cpputil
