// Diagnostic trace channels: a named Boost.Log severity logger guarded by a per-channel mask,
// and the registry of masks by channel name. Internal to the library; never installed.
#ifndef INSTALL_CPPUTIL_SRC_TRACE_TRACE_HPP
#define INSTALL_CPPUTIL_SRC_TRACE_TRACE_HPP

#include <atomic>
#include <cstdint>
#include <string>

#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>

namespace install::cpputil::trace {

inline constexpr int detail = 4;  // what is seen on each call
inline constexpr int event = 8;   // state changes and decisions

/// The mask cell of a channel name. Cells are created on first use and never move or die, so
/// a channel keeps a plain pointer and reads it without any lock.
std::atomic<std::uint32_t>& mask_cell(std::string const& channel);

/// Sets the mask of `channel`; "*" sets every channel, those made later included.
void set_mask(std::string const& channel, std::uint32_t mask);

/// The mask of `channel`; for "*", the mask that channels not set by name get.
std::uint32_t get_mask(std::string const& channel);

class DiagnosticLogger {
 public:
  using logger_type = boost::log::sources::severity_channel_logger_mt<int, std::string>;

  explicit DiagnosticLogger(std::string channel);

  /// One relaxed load and a bit test: the only cost of a disabled statement.
  bool enabled(int severity) const noexcept {
    return (mask_->load(std::memory_order_relaxed) & static_cast<std::uint32_t>(severity)) != 0;
  }
  logger_type& logger() noexcept { return logger_; }

 private:
  std::atomic<std::uint32_t> const* mask_;
  logger_type logger_;
};

}  // namespace install::cpputil::trace

/// CPPUTIL_TRACE(channel, severity) << piece << piece;
/// The mask test guards the whole statement: when it fails nothing is locked, allocated or
/// evaluated. The empty if-branch keeps a caller's own if/else intact.
#define CPPUTIL_TRACE(channel, severity) \
  if (!(channel).enabled(severity)) {    \
  } else                                 \
    BOOST_LOG_SEV((channel).logger(), (severity))

#endif  // INSTALL_CPPUTIL_SRC_TRACE_TRACE_HPP
