// UTF-8 and UTF-16 helpers of the library's own: decoding into a caller's buffer, and repairing
// ill-formed text in place. Each maximal ill-formed subpart becomes U+FFFD, as in ustring.hpp.
#ifndef INSTALL_CPPUTIL_SRC_UTF_HPP
#define INSTALL_CPPUTIL_SRC_UTF_HPP

#include <cstddef>
#include <string>
#include <string_view>

namespace install::cpputil::utf {

/// Decodes UTF-8 into `out`, which has room for bytes.size() units; returns how many units were
/// written.
std::size_t utf8_to_utf16(std::string_view bytes, char16_t* out) noexcept;

/// Replaces each maximal ill-formed subpart by U+FFFD, in place: the bytes that a round trip
/// through UTF-16 gives, without the round trip's memory.
void make_well_formed_utf8(std::string& bytes);

/// How many bytes at the end of `bytes` begin a sequence that more bytes could still complete
/// (0 to 3): text that arrives in pieces is made well formed as a whole when each piece keeps
/// them back for the next one.
std::size_t unfinished_utf8_tail(std::string_view bytes) noexcept;

/// The text with each unpaired surrogate replaced by U+FFFD.
std::u16string well_formed_utf16(std::u16string const& text);

}  // namespace install::cpputil::utf

#endif  // INSTALL_CPPUTIL_SRC_UTF_HPP
