// Byte-level text rules shared by the modules: the C locale's white space and the line that the
// input file keeps.
#ifndef INSTALL_CPPUTIL_SRC_TEXT_HPP
#define INSTALL_CPPUTIL_SRC_TEXT_HPP

#include <string_view>

namespace install::cpputil::text {

/// The six white-space characters of the C locale, fixed: the process's locale must not change
/// what a file or a version number means.
template <typename Char>
constexpr bool is_c_space(Char c) noexcept {
  return c == Char(' ') || (c >= Char('\t') && c <= Char('\r'));
}

std::string_view trim_left(std::string_view text) noexcept;
std::string_view trim_right(std::string_view text) noexcept;
inline std::string_view trim(std::string_view text) noexcept { return trim_right(trim_left(text)); }

/// Whether a line carries a setting: it does not begin with '#' and is not all white space.
bool keeps_line(std::string_view line) noexcept;

}  // namespace install::cpputil::text

#endif  // INSTALL_CPPUTIL_SRC_TEXT_HPP
