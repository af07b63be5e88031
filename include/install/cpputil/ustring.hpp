/// @file
/// UTF-16 text, the library's own string type, and its conversions to and from UTF-8.
/// The conversions never throw on ill-formed input: each maximal ill-formed subpart becomes
/// U+FFFD. They keep no state and are safe to call from any thread.
#ifndef INSTALL_CPPUTIL_USTRING_HPP
#define INSTALL_CPPUTIL_USTRING_HPP

#include <string>

#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// UTF-16 text: a sequence of 16-bit code units.
using ustring = std::u16string;

/// UTF-8 to UTF-16. "a\xFFb" => u"a\uFFFDb".
INSTALL_CPPUTIL_EXPORT ustring utf8_to_ustring(std::string const& text);

/// UTF-16 to UTF-8. An unpaired surrogate becomes U+FFFD (EF BF BD).
INSTALL_CPPUTIL_EXPORT std::string ustring_to_utf8(ustring const& text);

/// UTF-16 to the platform's 8-bit text, which is UTF-8 on POSIX.
INSTALL_CPPUTIL_EXPORT std::string to_string(ustring const& text);

}  // namespace install::cpputil

#endif  // INSTALL_CPPUTIL_USTRING_HPP
