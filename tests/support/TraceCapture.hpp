// A Boost.Log sink of the test's own that keeps every record of the library's channels, and
// sets channel masks for its lifetime.
#ifndef INSTALL_CPPUTIL_TESTS_SUPPORT_TRACECAPTURE_HPP
#define INSTALL_CPPUTIL_TESTS_SUPPORT_TRACECAPTURE_HPP

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace install::cpputil::testing {

struct TraceRecord {
  std::string channel;
  int severity = 0;
  std::string text;
  bool operator==(TraceRecord const& other) const {
    return channel == other.channel && severity == other.severity && text == other.text;
  }
};
std::ostream& operator<<(std::ostream& out, TraceRecord const& record);

class TraceCapture {
 public:
  TraceCapture();
  ~TraceCapture();
  TraceCapture(TraceCapture const&) = delete;
  TraceCapture& operator=(TraceCapture const&) = delete;

  /// Sets a channel's mask until the capture ends ("*" for every channel).
  void enable(std::string const& channel, std::uint32_t mask);

  std::vector<TraceRecord> records() const;
  /// Only the texts of one channel's records, in order.
  std::vector<std::string> texts(std::string const& channel) const;
  void clear();

  struct State;

 private:
  std::shared_ptr<State> state_;
  std::map<std::string, std::uint32_t> saved_masks_;
};

}  // namespace install::cpputil::testing

#endif  // INSTALL_CPPUTIL_TESTS_SUPPORT_TRACECAPTURE_HPP
