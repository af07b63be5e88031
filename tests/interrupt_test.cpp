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

// The exception's what() ("" when nothing was thrown), '|', then the records made.
template <typename Call>
std::string outcome(testing::TraceCapture& capture, Call call) {
  std::string what;
  try {
    call();
  } catch (interrupt::Exception const& error) {
    what = error.what();
  }
  return what + "|" + capture.take();
}

TEST(Interrupt, FlagStaysSetUntilUnsetAndEveryStepIsTraced) {
  testing::TraceCapture capture("install::cpputil::interrupt", 4 | 8);
  auto const check = [](std::string const& tag) { return [tag] { interrupt::throw_if_set(tag); }; };
  std::string const found = "4  interruptStatus=true\n8 Throw interrupt::Exception ";
  EXPECT_EQ(outcome(capture, interrupt::set), "|8 Set INTERRUPT.\n");
  EXPECT_EQ(outcome(capture, check("")), "Interrupted.|" + found + "with DEFAULT tag.\n");
  EXPECT_EQ(outcome(capture, check("copy")), "Interrupted. copy|" + found + "tag copy\n");
  EXPECT_EQ(outcome(capture, [] { EXPECT_TRUE(interrupt::is_set()); }),
            "|4  interruptStatus=true\n");
  EXPECT_EQ(outcome(capture, interrupt::detail::unset), "|8 Unset INTERRUPT.\n");
  EXPECT_EQ(outcome(capture, check("")), "|");
  EXPECT_FALSE(interrupt::is_set());
}

TEST(Interrupt, PauseHookWaitsOnlyWhileItsVariableIsDefined) {
  testing::TraceCapture capture("install::cpputil::interrupt", 4 | 8);
  auto const pause = [] { interrupt::test::pause_and_throw_if_set(kPause); };
  interrupt::set();
  capture.take();
  {
    testing::ScopedEnv const undefined(kPause, std::nullopt);
    EXPECT_EQ(outcome(capture, pause), "|");  // with the flag set, any check would have thrown
  }
  // An empty value still counts; Windows has none, so there the variable holds a text.
#if defined(_WIN32)
  testing::ScopedEnv const defined(kPause, "1");
#else
  testing::ScopedEnv const defined(kPause, "");
#endif
  std::string const tag = "env CPPUTIL_TEST_PAUSE is set.";
  EXPECT_EQ(outcome(capture, pause), "Interrupted. " + tag + "|8 " + tag +
                                         " Waiting 1 minute for interrupt...\n4  interruptStatus="
                                         "true\n8 Throw interrupt::Exception tag " +
                                         tag + "\n");
  // Set during the pause: a pause that missed it would return normally after its minute.
  interrupt::detail::unset();
  auto const setter = std::async(std::launch::async, [] {
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    interrupt::set();
  });
  EXPECT_THROW(pause(), interrupt::Exception);
  interrupt::detail::unset();
}

}  // namespace
}  // namespace install::cpputil
