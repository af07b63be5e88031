#include "install/cpputil/interrupt.hpp"

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

constexpr char const* kPause = "CPPUTIL_TEST_PAUSE";

class Interrupt : public ::testing::Test {
 protected:
  void SetUp() override { capture_.enable("install::cpputil::interrupt", 4 | 8); }
  void TearDown() override { interrupt::detail::unset(); }

  // The exception's what(), or "" when nothing was thrown; then the traces, one per line.
  template <typename Call>
  std::string outcome(Call call) {
    std::string what;
    capture_.clear();
    try {
      call();
    } catch (interrupt::Exception const& error) {
      what = error.what();
    }
    for (auto const& record : capture_.records()) {
      what += "\n" + std::to_string(record.severity) + " " + record.text;
    }
    return what;
  }

  testing::TraceCapture capture_;
};

TEST_F(Interrupt, FlagStaysSetUntilUnsetAndEveryStepIsTraced) {
  auto const check = [](std::string const& tag) { return [tag] { interrupt::throw_if_set(tag); }; };
  EXPECT_EQ(outcome(interrupt::set), "\n8 Set INTERRUPT.");
  EXPECT_EQ(
      outcome(check("")),
      "Interrupted.\n4  interruptStatus=true\n8 Throw interrupt::Exception with DEFAULT tag.");
  EXPECT_EQ(outcome(check("copy files")),
            "Interrupted. copy files\n4  interruptStatus=true\n"
            "8 Throw interrupt::Exception tag copy files");
  EXPECT_TRUE(interrupt::is_set());
  EXPECT_EQ(outcome(interrupt::detail::unset), "\n8 Unset INTERRUPT.");
  EXPECT_EQ(outcome(check("")), "");
  EXPECT_FALSE(interrupt::is_set());
}

TEST_F(Interrupt, PauseHookWaitsOnlyWhileItsVariableIsDefined) {
  auto const pause = [] { interrupt::test::pause_and_throw_if_set(kPause); };
  interrupt::set();
  {
    testing::ScopedEnv const undefined(kPause, std::nullopt);
    EXPECT_EQ(outcome(pause), "");  // with the flag set, any check would have thrown
  }
  // An empty value still counts; Windows has none, so there the variable holds a text.
#if defined(_WIN32)
  testing::ScopedEnv const defined(kPause, "1");
#else
  testing::ScopedEnv const defined(kPause, "");
#endif
  EXPECT_EQ(
      outcome(pause),
      "Interrupted. env CPPUTIL_TEST_PAUSE is set.\n"
      "8 env CPPUTIL_TEST_PAUSE is set. Waiting 1 minute for interrupt...\n"
      "4  interruptStatus=true\n8 Throw interrupt::Exception tag env CPPUTIL_TEST_PAUSE is set.");
  // Set during the pause: a pause that missed it would return normally after its minute.
  interrupt::detail::unset();
  auto const setter = std::async(std::launch::async, [] {
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    interrupt::set();
  });
  EXPECT_THROW(pause(), interrupt::Exception);
}

}  // namespace
}  // namespace install::cpputil
