// UTF-8 <-> UTF-16 with U+FFFD for each maximal ill-formed subpart, so that bad bytes from a
// hand-written file or a foreign path never stop the caller.
#include "install/cpputil/ustring.hpp"

#include <cstddef>

#include "utf.hpp"

namespace install::cpputil {

ustring utf8_to_ustring(std::string const& text) {
  ustring out(text.size(), u'\0');  // never more units than bytes
  out.resize(utf::utf8_to_utf16(text, out.data()));
  return out;
}

std::string ustring_to_utf8(ustring const& text) {
  std::string out(text.size() * 3, '\0');  // three bytes per unit at most
  char16_t const* src = text.data();
  char16_t const* const end = src + text.size();
  char* dst = out.data();
  auto put = [&dst](unsigned value) { *dst++ = static_cast<char>(value); };
  while (src < end) {
    char32_t cp = *src++;
    if (cp < 0x80) {
      put(cp);
      continue;
    }
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      if (cp <= 0xDBFF && src < end && *src >= 0xDC00 && *src <= 0xDFFF) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (*src++ - 0xDC00U);
      } else {
        cp = 0xFFFD;  // an unpaired surrogate
      }
    }
    if (cp < 0x800) {
      put(0xC0 | (cp >> 6));
      put(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      put(0xE0 | (cp >> 12));
      put(0x80 | ((cp >> 6) & 0x3F));
      put(0x80 | (cp & 0x3F));
    } else {
      put(0xF0 | (cp >> 18));
      put(0x80 | ((cp >> 12) & 0x3F));
      put(0x80 | ((cp >> 6) & 0x3F));
      put(0x80 | (cp & 0x3F));
    }
  }
  out.resize(static_cast<std::size_t>(dst - out.data()));
  return out;
}

std::string to_string(ustring const& text) { return ustring_to_utf8(text); }

}  // namespace install::cpputil
