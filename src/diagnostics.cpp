#include "install/cpputil/diagnostics.hpp"

#include "trace/trace.hpp"

namespace install::cpputil::diagnostics {

void set_channel_mask(std::string const& channel, std::uint32_t mask) {
  trace::set_mask(channel, mask);
}

std::uint32_t channel_mask(std::string const& channel) { return trace::get_mask(channel); }

}  // namespace install::cpputil::diagnostics
