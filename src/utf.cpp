#include "utf.hpp"

#include <cstdint>
#include <cstring>

#include "compiler.hpp"

namespace install::cpputil::utf {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

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

#if CPPUTIL_FAST_PATHS
// Whether the eight bytes at p are all ASCII.
bool ascii_word(unsigned char const* p) noexcept {
  std::uint64_t word = 0;
  std::memcpy(&word, p, sizeof word);
  return (word & 0x8080808080808080U) == 0;
}
#endif

}  // namespace

std::size_t utf8_to_utf16(std::string_view bytes, char16_t* out) noexcept {
  auto const* src = reinterpret_cast<unsigned char const*>(bytes.data());
  auto const* const end = src + bytes.size();
  char16_t* dst = out;
  // dst never runs ahead of src: one unit per byte at most, so `out` has room.
  while (src < end) {
    unsigned const lead = *src;
    if (lead < 0x80) {
#if CPPUTIL_FAST_PATHS
      // Eight ASCII bytes at a time: byte by byte, this is no faster than ICU (its budget),
      // and the log and input files are mostly ASCII.
      if (end - src >= 8 && ascii_word(src)) {
        for (int i = 0; i < 8; ++i) {
          dst[i] = src[i];
        }
        src += 8;
        dst += 8;
        continue;
      }
#endif
      *dst++ = *src++;
      continue;
    }
    // The common well-formed two- and three-byte forms first; every other form, the ill-formed
    // ones included, goes through the careful decoder.
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

std::size_t unfinished_utf8_tail(std::string_view bytes) noexcept {
  auto const* const end = reinterpret_cast<unsigned char const*>(bytes.data()) + bytes.size();
  for (std::size_t back = 1; back <= 3 && back <= bytes.size(); ++back) {
    unsigned char const byte = *(end - back);
    if (byte >= 0xC2 && byte <= 0xF4) {
      // A lead byte always starts a subpart, so what precedes it is decided without it.
      std::size_t const whole = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
      std::size_t length = 0;
      decode_one(end - back, end, length);
      return back < whole && length == back ? back : 0;
    }
    if (!is_continuation(byte)) {
      return 0;
    }
  }
  return 0;
}

std::u16string well_formed_utf16(std::u16string const& text) {
  std::u16string fixed = text;
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

}  // namespace install::cpputil::utf
