// UTF conversions on arbitrary bytes: both directions must agree with ICU, which puts U+FFFD
// for each maximal ill-formed subpart and each unpaired surrogate, and UTF-8 decoding must
// round-trip what it produces.
#include <cstdint>
#include <string>

#include <unicode/unistr.h>

#include "install/cpputil/ustring.hpp"

#include "tests/support/Printed.hpp"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using install::cpputil::ustring_to_utf8;
  using install::cpputil::utf8_to_ustring;
  using install::cpputil::testing::check_same;

  std::string const bytes(reinterpret_cast<char const*>(data), size);
  std::u16string const decoded = utf8_to_ustring(bytes);
  icu::UnicodeString const by_icu = icu::UnicodeString::fromUTF8(bytes);
  std::u16string const units(reinterpret_cast<char16_t const*>(bytes.data()), size / 2);
  std::string icu_encoded;
  icu::UnicodeString(units.data(), static_cast<int32_t>(units.size())).toUTF8String(icu_encoded);
  check_same("utf8_to_ustring", decoded, std::u16string(by_icu.getBuffer(), by_icu.length()));
  check_same("round trip", utf8_to_ustring(ustring_to_utf8(decoded)), decoded);
  check_same("ustring_to_utf8", ustring_to_utf8(units), icu_encoded);
  return 0;
}
