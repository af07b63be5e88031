// UTF conversions on arbitrary bytes: UTF-8 decoding must agree with ICU's substitution, and
// both directions must round-trip what they produce.
#include <cstdint>
#include <cstdlib>
#include <string>

#include <unicode/ustring.h>

#include "install/cpputil/ustring.hpp"

namespace {

void check(bool ok) {
  if (!ok) {
    std::abort();
  }
}

std::u16string icu_decode(std::string const& bytes) {
  std::u16string out(bytes.size() + 1, u'\0');
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;
  u_strFromUTF8WithSub(reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                       &length, bytes.data(), static_cast<int32_t>(bytes.size()), 0xFFFD, nullptr,
                       &status);
  check(U_SUCCESS(status));
  out.resize(static_cast<std::size_t>(length));
  return out;
}

// Unpaired surrogates become U+FFFD; everything else stays.
std::u16string repaired(std::u16string const& units) {
  std::u16string out;
  for (std::size_t i = 0; i < units.size(); ++i) {
    char16_t const u = units[i];
    bool const high = u >= 0xD800 && u <= 0xDBFF;
    bool const low = u >= 0xDC00 && u <= 0xDFFF;
    if (high && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
      out.push_back(u);
      out.push_back(units[++i]);
    } else {
      out.push_back(high || low ? char16_t(0xFFFD) : u);
    }
  }
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using install::cpputil::ustring_to_utf8;
  using install::cpputil::utf8_to_ustring;

  std::string const bytes(reinterpret_cast<char const*>(data), size);
  std::u16string const decoded = utf8_to_ustring(bytes);
  check(decoded == icu_decode(bytes));
  std::string const encoded = ustring_to_utf8(decoded);
  check(utf8_to_ustring(encoded) == decoded);

  std::u16string const units(reinterpret_cast<char16_t const*>(bytes.data()), size / 2);
  check(utf8_to_ustring(ustring_to_utf8(units)) == repaired(units));
  return 0;
}
