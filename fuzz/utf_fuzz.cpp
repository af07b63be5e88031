// UTF conversions on arbitrary bytes: both directions must agree with ICU's substitution of
// U+FFFD, and UTF-8 decoding must round-trip what it produces.
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

// Each unpaired surrogate becomes U+FFFD.
std::string icu_encode(std::u16string const& units) {
  std::string out(units.size() * 3 + 1, '\0');
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;
  u_strToUTF8WithSub(out.data(), static_cast<int32_t>(out.size()), &length,
                     reinterpret_cast<UChar const*>(units.data()),
                     static_cast<int32_t>(units.size()), 0xFFFD, nullptr, &status);
  check(U_SUCCESS(status));
  out.resize(static_cast<std::size_t>(length));
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  using install::cpputil::ustring_to_utf8;
  using install::cpputil::utf8_to_ustring;

  std::string const bytes(reinterpret_cast<char const*>(data), size);
  std::u16string const decoded = utf8_to_ustring(bytes);
  check(decoded == icu_decode(bytes));
  check(utf8_to_ustring(ustring_to_utf8(decoded)) == decoded);

  std::u16string const units(reinterpret_cast<char16_t const*>(bytes.data()), size / 2);
  check(ustring_to_utf8(units) == icu_encode(units));
  return 0;
}
