#include "install/cpputil/VersionComparator.hpp"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "compiler.hpp"

namespace install::cpputil {
namespace {

bool is_digit(char16_t c) noexcept { return c >= u'0' && c <= u'9'; }

// A piece that is not plain digits within 32 bits, read by std::stoi itself, so that the caller
// gets exactly its numbers and exceptions. Out of line: inlined, its strings would cost every
// piece a stack frame, and version comparison would miss its budget (2 x strverscmp).
CPPUTIL_ATTRIBUTE_NOINLINE int piece_by_stoi(char16_t const* begin, char16_t const* end) {
  return std::stoi(to_string(ustring(begin, end)));
}

// The pieces of a version, as std::stoi reads them. Read straight from the UTF-16 text: a unit
// above 0x7F converts to bytes above 0x7F, which are neither a dot, a sign, a digit nor white
// space.
class PieceReader {
 public:
  explicit PieceReader(ustring const& version) noexcept
      : at_(version.data()), end_(version.data() + version.size()) {}

  // A trailing dot ends the last piece without starting another one.
  bool done() const noexcept { return at_ == end_; }

  // The next piece; moves past it and its dot.
  int next() {
    constexpr std::int64_t kLargest = std::numeric_limits<int>::max();
    char16_t const* const begin = at_;
    char16_t const* piece_end = begin;
    std::int64_t value = 0;
    while (piece_end != end_ && is_digit(*piece_end) && value <= kLargest) {
      value = value * 10 + (*piece_end - u'0');
      ++piece_end;
    }
    bool const plain = piece_end != begin && value <= kLargest;
    while (piece_end != end_ && *piece_end != u'.') {
      ++piece_end;
    }
    at_ = piece_end == end_ ? end_ : piece_end + 1;
    return plain ? static_cast<int>(value) : piece_by_stoi(begin, piece_end);
  }

 private:
  char16_t const* at_;
  char16_t const* end_;
};

}  // namespace

VersionComparator::~VersionComparator() = default;

int VersionComparator::compareVersionNumbers(ustring const& first, ustring const& second) const {
  PieceReader left(first);
  PieceReader right(second);
  while (!left.done() || !right.done()) {
    // The first version's piece is read first, so its exception wins when both are bad.
    int const a = left.done() ? 0 : left.next();
    int const b = right.done() ? 0 : right.next();
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
