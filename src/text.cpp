#include "text.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace install::cpputil::text {

std::string_view trim_left(std::string_view text) noexcept {
  std::size_t first = 0;
  while (first < text.size() && is_c_space(text[first])) {
    ++first;
  }
  return text.substr(first);
}

std::string_view trim_right(std::string_view text) noexcept {
  std::size_t end = text.size();
  while (end > 0 && is_c_space(text[end - 1])) {
    --end;
  }
  return text.substr(0, end);
}

bool keeps_line(std::string_view line) noexcept {
  // The first '#' stands at 0 exactly when the line begins with one.
  return (line.empty() || line.front() != '#') && !trim_left(line).empty();
}

std::size_t widen_ascii(std::string_view bytes, char16_t* out) noexcept {
  std::size_t done = 0;
#if defined(__SSE2__)
  __m128i const zero = _mm_setzero_si128();
  while (done + 16 <= bytes.size()) {
    __m128i const block = _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes.data() + done));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done), _mm_unpacklo_epi8(block, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + done + 8), _mm_unpackhi_epi8(block, zero));
    auto const high = static_cast<unsigned>(_mm_movemask_epi8(block));
    if (high != 0) {
      return done + static_cast<std::size_t>(__builtin_ctz(high));
    }
    done += 16;
  }
#endif
  while (done < bytes.size() && static_cast<unsigned char>(bytes[done]) < 0x80) {
    out[done] = static_cast<char16_t>(bytes[done]);
    ++done;
  }
  return done;
}

}  // namespace install::cpputil::text
