#include "install/cpputil/VersionComparator.hpp"

#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

namespace install::cpputil {
namespace {

// Typical pairs and those the seed corpus holds are left to the fuzz target's literal reading.
TEST(VersionComparator, ComparesPiecesNumericallyBothWays) {
  // The last pair is decided before its bad pieces are read.
  std::tuple<ustring, ustring, int> const cases[] = {
      {u"1.2", u"1.2.0", 0},
      {u"1.10", u"1.9", 1},
      {u"", u"1", -1},
      {u"1.0x1F", u"1", 0},
      {u"1.2\U0001F600.5", u"1.2.4", 1},
      {u"1.\t\n\v\f\r+2", u"1.2", 0},
      {u"1.-1", u"1.0", -1},
      {u"-2147483648", u"-2147483647", -1},
      {u"000000000000002147483647.1", u"2147483647", 1},
      {u"2.x", u"1.y", 1},
  };
  VersionComparator const comparator;
  for (auto const& [first, second, expected] : cases) {
    SCOPED_TRACE(to_string(first) + " vs " + to_string(second));
    EXPECT_EQ(comparator.compareVersionNumbers(first, second), expected);
    EXPECT_EQ(comparator.compareVersionNumbers(second, first), -expected);
  }
  using Pieces = std::vector<std::string>;
  EXPECT_EQ(comparator.tokenizeString(""), Pieces{});
  EXPECT_EQ(comparator.tokenizeString(".."), (Pieces{"", ""}));
  EXPECT_EQ(comparator.tokenizeString(" 1 .. x ."), (Pieces{" 1 ", "", " x "}));
}

// Callers see exactly what std::stoi throws for the first bad piece read, its message included.
TEST(VersionComparator, LetsTheExceptionsOfStoiThrough) {
  auto const thrown = [](auto const& call) -> std::string {
    try {
      call();
    } catch (std::out_of_range const& error) {
      return std::string("out_of_range: ") + error.what();
    } catch (std::invalid_argument const& error) {
      return std::string("invalid_argument: ") + error.what();
    }
    return "nothing";
  };
  // In the last two pairs the first version's bad piece is read first.
  std::tuple<ustring, ustring, char const*> const cases[] = {
      {u"1.+-2", u"1.2", "+-2"},
      {ustring{u'1', u'.', u'\0', u'2'}, u"1.2", ""},  // stoi stops at the NUL
      {u"-2147483649", u"0", "-2147483649"},
      {u"99999999999999999999999", u"1", "99999999999999999999999"},
      {u"1.x", u"1.2147483648", "x"},
      {u"1.2147483648", u"1.x", "2147483648"},
  };
  VersionComparator const comparator;
  for (auto const& [first, second, piece] : cases) {
    EXPECT_EQ(thrown([&] { comparator.compareVersionNumbers(first, second); }),
              thrown([&] { static_cast<void>(std::stoi(piece)); }))
        << to_string(first) << " vs " << to_string(second);
  }
}

}  // namespace
}  // namespace install::cpputil
