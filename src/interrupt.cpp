#include "install/cpputil/interrupt.hpp"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "install/cpputil/cpputil.h"

#include "compiler.hpp"
#include "trace/trace.hpp"

namespace install::cpputil::interrupt {
namespace {

trace::DiagnosticLogger channel("install::cpputil::interrupt");
std::atomic<bool> flag{false};

constexpr int kPauseChecks = 600;
constexpr std::chrono::nanoseconds kPauseStep{100'000'000};

// Out of line and cold, so that polling a clear flag costs a load and a return: no registers
// saved for a trace that is not made.
CPPUTIL_ATTRIBUTE_COLD CPPUTIL_ATTRIBUTE_NOINLINE void trace_found_set() noexcept {
  CPPUTIL_TRACE(channel, trace::detail) << " interruptStatus=" << true;
}

// The poll, inlined into is_set and into the C interface's poll alike, so that neither pays a
// call to the other.
bool poll() noexcept {
  bool const value = flag.load();
  if (value) {
    trace_found_set();
  }
  return value;
}

// What is_set() does for a set flag, then the throw; out of line for the same reason.
[[noreturn]] CPPUTIL_ATTRIBUTE_COLD CPPUTIL_ATTRIBUTE_NOINLINE void throw_found_set(
    std::string const& tag) {
  trace_found_set();
  if (tag.empty()) {
    CPPUTIL_TRACE(channel, trace::event) << "Throw interrupt::Exception with DEFAULT tag.";
    throw Exception();
  }
  CPPUTIL_TRACE(channel, trace::event) << "Throw interrupt::Exception tag " << tag;
  throw Exception(tag);
}

}  // namespace

Exception::Exception() : std::runtime_error("Interrupted.") {}
Exception::Exception(std::string const& tag) : std::runtime_error("Interrupted. " + tag) {}

bool is_set() noexcept { return poll(); }

void throw_if_set(std::string const& tag) {
  if (flag.load()) {
    throw_found_set(tag);
  }
}

void set() noexcept {
  flag.store(true);
  CPPUTIL_TRACE(channel, trace::event) << "Set INTERRUPT.";
}

namespace detail {
void unset() noexcept {
  flag.store(false);
  CPPUTIL_TRACE(channel, trace::event) << "Unset INTERRUPT.";
}
}  // namespace detail

namespace test {
void pause_and_throw_if_set(char const* name) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the test hook only reads its variable.
  if (std::getenv(name) == nullptr) {
    return;
  }
  std::string const tag = std::string("env ") + name + " is set.";
  CPPUTIL_TRACE(channel, trace::event) << tag << " Waiting 1 minute for interrupt...";
  for (int check = 0; check < kPauseChecks; ++check) {
    throw_if_set(tag);
    std::this_thread::sleep_for(kPauseStep);
  }
}
}  // namespace test

}  // namespace install::cpputil::interrupt

int install_cpputil_interrupt_is_set(void) noexcept {
  return install::cpputil::interrupt::poll() ? 1 : 0;
}
