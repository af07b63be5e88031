#include "install/cpputil/VersionComparator.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "text.hpp"

namespace install::cpputil {
namespace {

// Pieces are read straight from the UTF-16 text, without converting it to 8-bit text first.
// That gives the same pieces and numbers: every unit above 0x7F converts to bytes above 0x7F,
// which are neither a dot, a sign, a digit nor white space.
class PieceReader {
 public:
  explicit PieceReader(ustring const& text) noexcept
      : text_(text), next_(text.data()), end_(text.data() + text.size()) {}

  // A trailing dot ends the last piece without starting another one.
  bool has_piece() const noexcept { return next_ != end_; }

  // The next piece as std::stoi reads it; moves past the piece and its dot.
  int next() {
    // Most pieces are a few plain digits: up to nine of them cannot leave the 32-bit range.
    char16_t const* at = next_;
    unsigned digit = digit_value(*at);
    if (digit <= 9) {
      unsigned value = digit;
      char16_t const* const fast_end = at + std::min<std::ptrdiff_t>(end_ - at, 9);
      while (++at != fast_end && (digit = digit_value(*at)) <= 9) {
        value = value * 10 + digit;
      }
      if (at == fast_end && at != end_ && digit_value(*at) <= 9) {
        return next_in_full();
      }
      skip_to_next_piece(at);
      return static_cast<int>(value);
    }
    return next_in_full();
  }

 private:
  static unsigned digit_value(char16_t c) noexcept { return static_cast<unsigned>(c) - u'0'; }

  void skip_to_next_piece(char16_t const* at) noexcept {
    if (at != end_ && *at != u'.') {
      at = std::find(at, end_, u'.');
    }
    next_ = at == end_ ? end_ : at + 1;
  }

  // White space, a sign or many digits. Kept out of line, as is the exception path, so that the
  // common case stays a small leaf without a stack frame for strings.
  [[gnu::noinline]] int next_in_full() {
    char16_t const* at = next_;
    while (at != end_ && text::is_c_space(*at)) {
      ++at;
    }
    bool negative = false;
    if (at != end_ && (*at == u'+' || *at == u'-')) {
      negative = *at == u'-';
      ++at;
    }
    if (at == end_ || digit_value(*at) > 9) {
      return next_by_stoi();
    }
    std::uint64_t const limit = negative ? 2147483648U : 2147483647U;
    std::uint64_t magnitude = 0;
    do {
      magnitude = magnitude * 10 + digit_value(*at);
      if (magnitude > limit) {
        return next_by_stoi();
      }
    } while (++at != end_ && digit_value(*at) <= 9);
    skip_to_next_piece(at);
    auto const value = static_cast<std::int64_t>(magnitude);
    return static_cast<int>(negative ? -value : value);
  }

  // Pieces without a number or beyond 32 bits go to std::stoi itself, so that the caller gets
  // exactly its exceptions.
  [[gnu::noinline, gnu::cold]] int next_by_stoi() {
    char16_t const* const piece_end = std::find(next_, end_, u'.');
    auto const begin = static_cast<std::size_t>(next_ - text_.data());
    std::string const piece =
        to_string(text_.substr(begin, static_cast<std::size_t>(piece_end - next_)));
    skip_to_next_piece(piece_end);
    return std::stoi(piece);
  }

  ustring const& text_;
  char16_t const* next_;
  char16_t const* end_;
};

}  // namespace

VersionComparator::~VersionComparator() = default;

int VersionComparator::compareVersionNumbers(ustring const& first, ustring const& second) const {
  PieceReader left(first);
  PieceReader right(second);
  while (left.has_piece() || right.has_piece()) {
    // The first version's piece is read first, so its exception wins when both are bad.
    int const a = left.has_piece() ? left.next() : 0;
    int const b = right.has_piece() ? right.next() : 0;
    if (a != b) {
      return a < b ? -1 : 1;
    }
  }
  return 0;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): a member of the interface.
std::vector<std::string> VersionComparator::tokenizeString(std::string const& version) const {
  std::vector<std::string> pieces;
  std::size_t begin = 0;
  while (begin < version.size()) {
    std::size_t const dot = version.find('.', begin);
    if (dot == std::string::npos) {
      pieces.emplace_back(version, begin);
      break;
    }
    pieces.emplace_back(version, begin, dot - begin);
    begin = dot + 1;
  }
  return pieces;
}

}  // namespace install::cpputil
