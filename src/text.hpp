// Byte-level text rules shared by the modules: the C locale's white space, the line that the
// input file keeps, and the widening of ASCII into UTF-16.
#ifndef INSTALL_CPPUTIL_SRC_TEXT_HPP
#define INSTALL_CPPUTIL_SRC_TEXT_HPP

#include <cstddef>
#include <string>
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

/// Copies the leading ASCII bytes of `bytes` into `out`, one unit per byte, and returns how many
/// there were. `out` has room for bytes.size() units; those past the count may be overwritten.
std::size_t widen_ascii(std::string_view bytes, char16_t* out) noexcept;

/// Decodes UTF-8 into `out`, which has room for bytes.size() units, with U+FFFD for each maximal
/// ill-formed subpart; returns how many units were written.
std::size_t widen_utf8(std::string_view bytes, char16_t* out) noexcept;

/// Replaces each maximal ill-formed subpart by U+FFFD, in place: the bytes that a round trip
/// through UTF-16 gives, without the round trip's memory.
void make_well_formed_utf8(std::string& bytes);

/// The text with each unpaired surrogate replaced by U+FFFD.
std::u16string well_formed_utf16(std::u16string const& text);

}  // namespace install::cpputil::text

#endif  // INSTALL_CPPUTIL_SRC_TEXT_HPP
