// UTF-8 <-> UTF-16 with U+FFFD for each maximal ill-formed subpart, so that bad bytes from a
// hand-written file or a foreign path never stop the caller. ASCII runs take a SIMD path: the
// installation log and input files are mostly ASCII.
#include "install/cpputil/ustring.hpp"

#include <cstdint>
#include <cstring>
#include <string_view>

#include "text.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace install::cpputil {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

// Narrows the leading ASCII units of [src, end) into dst; returns how many were copied.
std::size_t narrow_ascii(char16_t const* src, char16_t const* end, char* dst) {
  std::size_t done = 0;
  auto const size = static_cast<std::size_t>(end - src);
#if defined(__SSE2__)
  __m128i const high = _mm_set1_epi16(static_cast<short>(0xFF80));
  __m128i const zero = _mm_setzero_si128();
  while (done + 8 <= size) {
    __m128i const units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(src + done));
    __m128i const non_ascii = _mm_cmpeq_epi16(_mm_and_si128(units, high), zero);
    if (_mm_movemask_epi8(non_ascii) != 0xFFFF) {
      break;
    }
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + done), _mm_packus_epi16(units, units));
    done += 8;
  }
#endif
  while (done < size && src[done] < 0x80) {
    dst[done] = static_cast<char>(src[done]);
    ++done;
  }
  return done;
}

bool is_continuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Decodes one non-ASCII sequence at p (< end). Returns the code point, or kReplacement for a
// maximal ill-formed subpart; `length` receives how many bytes were consumed.
char32_t decode_one(unsigned char const* p, unsigned char const* end, std::size_t& length) {
  unsigned char const lead = p[0];
  std::size_t need = 0;
  unsigned char low = 0x80;  // allowed range of the second byte
  unsigned char high = 0xBF;
  char32_t cp = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    need = 1;
    cp = lead & 0x1FU;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    need = 2;
    cp = lead & 0x0FU;
    low = lead == 0xE0 ? 0xA0 : 0x80;
    high = lead == 0xED ? 0x9F : 0xBF;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    need = 3;
    cp = lead & 0x07U;
    low = lead == 0xF0 ? 0x90 : 0x80;
    high = lead == 0xF4 ? 0x8F : 0xBF;
  } else {
    length = 1;
    return kReplacement;
  }
  std::size_t i = 1;
  for (; i <= need; ++i) {
    if (p + i >= end) {
      length = i;
      return kReplacement;
    }
    unsigned char const byte = p[i];
    bool const ok = i == 1 ? (byte >= low && byte <= high) : is_continuation(byte);
    if (!ok) {
      length = i;
      return kReplacement;
    }
    cp = (cp << 6) | (byte & 0x3FU);
  }
  length = i;
  return cp;
}

}  // namespace

std::size_t text::widen_utf8(std::string_view bytes, char16_t* out) noexcept {
  auto const* src = reinterpret_cast<unsigned char const*>(bytes.data());
  auto const* const end = src + bytes.size();
  char16_t* dst = out;
  // dst never runs ahead of src (one unit per byte at most), so widening as many units as there
  // are bytes left stays inside `out`.
  while (src < end) {
    unsigned const lead = *src;
    if (lead < 0x80) {
      std::size_t const ascii = text::widen_ascii(
          std::string_view(reinterpret_cast<char const*>(src), static_cast<std::size_t>(end - src)),
          dst);
      src += ascii;
      dst += ascii;
      continue;
    }
    // The common well-formed two- and three-byte forms first; everything else, including every
    // ill-formed case, goes through the careful decoder.
    if (lead >= 0xC2 && lead <= 0xDF && end - src >= 2 && is_continuation(src[1])) {
      *dst++ = static_cast<char16_t>(((lead & 0x1FU) << 6) | (src[1] & 0x3FU));
      src += 2;
      continue;
    }
    if (lead >= 0xE1 && lead <= 0xEF && lead != 0xED && end - src >= 3 && is_continuation(src[1]) &&
        is_continuation(src[2])) {
      *dst++ = static_cast<char16_t>(((lead & 0x0FU) << 12) | ((src[1] & 0x3FU) << 6) |
                                     (src[2] & 0x3FU));
      src += 3;
      continue;
    }
    std::size_t length = 0;
    char32_t const cp = decode_one(src, end, length);
    src += length;
    if (cp >= 0x10000) {
      *dst++ = static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      *dst++ = static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      *dst++ = static_cast<char16_t>(cp);
    }
  }
  return static_cast<std::size_t>(dst - out);
}

ustring utf8_to_ustring(std::string const& text) {
  ustring out(text.size(), u'\0');  // never more units than bytes
  out.resize(text::widen_utf8(text, out.data()));
  return out;
}

std::string ustring_to_utf8(ustring const& text) {
  std::string out(text.size() * 3, '\0');  // three bytes per unit at most
  char16_t const* src = text.data();
  char16_t const* const end = src + text.size();
  char* dst = out.data();
  auto put = [&dst](unsigned value) { *dst++ = static_cast<char>(value); };
  while (src < end) {
    std::size_t const ascii = narrow_ascii(src, end, dst);
    src += ascii;
    dst += ascii;
    while (src < end && *src >= 0x80) {
      char32_t cp = *src++;
      if (cp >= 0xD800 && cp <= 0xDFFF) {
        if (cp <= 0xDBFF && src < end && *src >= 0xDC00 && *src <= 0xDFFF) {
          cp = 0x10000 + ((cp - 0xD800) << 10) + (*src++ - 0xDC00U);
        } else {
          cp = kReplacement;
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
  }
  out.resize(static_cast<std::size_t>(dst - out.data()));
  return out;
}

std::string to_string(ustring const& text) { return ustring_to_utf8(text); }

}  // namespace install::cpputil

namespace install::cpputil::text {

void make_well_formed_utf8(std::string& bytes) {
  auto const* const begin = reinterpret_cast<unsigned char const*>(bytes.data());
  auto const* const end = begin + bytes.size();
  auto const* at = begin;
  std::size_t length = 0;
  // Most text is well formed: find the first ill-formed subpart before copying anything.
  while (at < end) {
    if (*at < 0x80) {
      ++at;
    } else if (decode_one(at, end, length) != kReplacement ||
               (length == 3 && at[0] == 0xEF && at[1] == 0xBF && at[2] == 0xBD)) {
      at += length;  // a U+FFFD of the text itself is well formed
    } else {
      break;
    }
  }
  if (at == end) {
    return;
  }
  std::string fixed(bytes.data(), static_cast<std::size_t>(at - begin));
  fixed.reserve(bytes.size() + 16);
  while (at < end) {
    if (*at < 0x80) {
      fixed.push_back(static_cast<char>(*at++));
      continue;
    }
    char32_t const cp = decode_one(at, end, length);
    if (cp == kReplacement) {
      fixed.append("\xEF\xBF\xBD");
    } else {
      fixed.append(reinterpret_cast<char const*>(at), length);
    }
    at += length;
  }
  bytes = std::move(fixed);
}

ustring well_formed_utf16(ustring const& text) {
  ustring fixed = text;
  for (std::size_t i = 0; i < fixed.size(); ++i) {
    char16_t const unit = fixed[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < fixed.size() && fixed[i + 1] >= 0xDC00 &&
        fixed[i + 1] <= 0xDFFF) {
      ++i;  // a pair
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      fixed[i] = kReplacement;
    }
  }
  return fixed;
}

}  // namespace install::cpputil::text
