// The grammar of a channel mask, shared by INSTALL_CPPUTIL_TRACE and the tool's --trace.
#ifndef INSTALL_CPPUTIL_SRC_TRACE_MASK_HPP
#define INSTALL_CPPUTIL_SRC_TRACE_MASK_HPP

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace install::cpputil::trace {

/// Decimal, or hexadecimal after "0x"; no sign, no blanks, 32 bits.
inline std::optional<std::uint32_t> parse_mask(std::string_view text) noexcept {
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
    base = 16;
  }
  std::uint32_t value = 0;
  auto const* end = text.data() + text.size();
  auto const result = std::from_chars(text.data(), end, value, base);
  if (text.empty() || result.ec != std::errc() || result.ptr != end) {
    return std::nullopt;
  }
  return value;
}

}  // namespace install::cpputil::trace

#endif  // INSTALL_CPPUTIL_SRC_TRACE_MASK_HPP
