#include "install/cpputil/VersionComparator.hpp"

#include <cstddef>
#include <cstdint>

namespace install::cpputil {
namespace {

// Pieces are read straight from the UTF-16 text, without converting it to 8-bit text first.
// That gives the same pieces and numbers: every unit above 0x7F converts to bytes above 0x7F,
// which are neither a dot, a sign, a digit nor white space.
class PieceReader {
 public:
  explicit PieceReader(ustring const& text) noexcept : text_(text) {}

  // A trailing dot ends the last piece without starting another one.
  bool has_piece() const noexcept { return pos_ < text_.size(); }

  // The next piece as std::stoi reads it; moves past the piece and its dot.
  int next() {
    std::size_t const size = text_.size();
    std::size_t i = pos_;
    while (i < size && is_c_space(text_[i])) {
      ++i;
    }
    bool negative = false;
    if (i < size && (text_[i] == u'+' || text_[i] == u'-')) {
      negative = text_[i] == u'-';
      ++i;
    }
    if (i == size || !is_digit(text_[i])) {
      return next_by_stoi();
    }
    std::uint64_t const limit = negative ? 2147483648U : 2147483647U;
    std::uint64_t magnitude = 0;
    do {
      magnitude = magnitude * 10 + static_cast<std::uint64_t>(text_[i] - u'0');
      if (magnitude > limit) {
        return next_by_stoi();
      }
      ++i;
    } while (i < size && is_digit(text_[i]));
    while (i < size && text_[i] != u'.') {
      ++i;
    }
    pos_ = i + 1;
    auto const value = static_cast<std::int64_t>(magnitude);
    return static_cast<int>(negative ? -value : value);
  }

 private:
  static bool is_c_space(char16_t c) noexcept { return c == u' ' || (c >= u'\t' && c <= u'\r'); }
  static bool is_digit(char16_t c) noexcept { return c >= u'0' && c <= u'9'; }

  // Pieces without a number or beyond 32 bits go to std::stoi itself, so that the caller gets
  // exactly its exceptions.
  int next_by_stoi() {
    std::size_t const dot = text_.find(u'.', pos_);
    std::size_t const end = dot == ustring::npos ? text_.size() : dot;
    std::string const piece = to_string(text_.substr(pos_, end - pos_));
    pos_ = end + 1;
    return std::stoi(piece);
  }

  ustring const& text_;
  std::size_t pos_ = 0;
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
