// A Boost.Log sink of the test's own that keeps the records of one channel, whose mask it sets
// for its lifetime.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace install::cpputil::testing {

class TraceCapture {
 public:
  TraceCapture(std::string channel, std::uint32_t mask);
  ~TraceCapture();
  TraceCapture(TraceCapture const&) = delete;
  TraceCapture& operator=(TraceCapture const&) = delete;

  /// The records kept since the last call, one "<severity> <text>\n" each.
  std::string take();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace install::cpputil::testing
