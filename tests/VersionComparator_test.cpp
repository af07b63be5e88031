#include "install/cpputil/VersionComparator.hpp"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace install::cpputil {
namespace {

struct Order {
  ustring first;
  ustring second;
  int expected;
};
Order const kOrders[] = {
    {u"1.2", u"1.2.0", 0},
    {u"1", u"1.0.0.0", 0},
    {u"1.2.0.1", u"1.2", 1},
    {u"10.2.0.1", u"10.2.1", -1},
    {u"1.10", u"1.9", 1},
    {u"2", u"10", -1},
    {u"01.002", u"1.2", 0},
    {u"1.2a", u"1.2", 0},
    {u"1.2b", u"1.2a", 0},
    {u"", u"", 0},
    {u"", u"0.0", 0},
    {u"", u"1", -1},
    {u"1.2.", u"1.2", 0},
    {u"2.x", u"1.y", 1},  // decided before the bad pieces are reached
    {u"1.-1", u"1.0", -1},
    {u"1. 2", u"1.2", 0},
    {u"1.\t\n\v\f\r+2", u"1.2", 0},
    {u"1.2 3", u"1.2", 0},
    {u"1.0x1F", u"1", 0},
    {u"1.2\u00E9", u"1.2", 0},
    {u"1.2\U0001F600.5", u"1.2.4", 1},
    {u"2147483647", u"2147483646", 1},
    {u"-2147483648", u"-2147483647", -1},
    {u"000000000000002147483647.1", u"2147483647", 1},
    {u"1.3", u"1.2.99", 1},
};

TEST(VersionComparatorOrder, ComparesPiecesNumerically) {
  VersionComparator const comparator;
  for (auto const& c : kOrders) {
    SCOPED_TRACE(to_string(c.first) + " vs " + to_string(c.second));
    EXPECT_EQ(comparator.compareVersionNumbers(c.first, c.second), c.expected);
    EXPECT_EQ(comparator.compareVersionNumbers(c.second, c.first), -c.expected);
  }
}

enum class Thrown { invalid_argument, out_of_range };
struct Failure {
  ustring first;
  ustring second;
  Thrown thrown;
};
Failure const kFailures[] = {
    {u"1..2", u"1.0.2", Thrown::invalid_argument},
    {u"1.x", u"1.y", Thrown::invalid_argument},
    {u"1", u".", Thrown::invalid_argument},
    {u"1.", u"1. ", Thrown::invalid_argument},
    {u"1.+-2", u"1.2", Thrown::invalid_argument},
    {u"1.\u00E92", u"1.2", Thrown::invalid_argument},
    {std::u16string(u"1.\0"
                    u"2",
                    4),
     u"1.2", Thrown::invalid_argument},
    {u"1.2147483648", u"1.0", Thrown::out_of_range},
    {u"-2147483649", u"0", Thrown::out_of_range},
    {u"99999999999999999999999", u"1", Thrown::out_of_range},
    // At one index the first version's piece is read first.
    {u"1.x", u"1.2147483648", Thrown::invalid_argument},
    {u"1.2147483648", u"1.x", Thrown::out_of_range},
};

// Callers see exactly what std::stoi throws, its message included.
std::string stoi_message(char const* text) {
  try {
    static_cast<void>(std::stoi(text));
  } catch (std::exception const& error) {
    return error.what();
  }
  return {};
}

TEST(VersionComparatorOrder, LetsTheExceptionsOfStoiThrough) {
  VersionComparator const comparator;
  std::string const invalid = stoi_message("x");
  std::string const out_of_range = stoi_message("2147483648");
  for (auto const& c : kFailures) {
    SCOPED_TRACE(to_string(c.first) + " vs " + to_string(c.second));
    try {
      comparator.compareVersionNumbers(c.first, c.second);
      ADD_FAILURE() << "no exception";
    } catch (std::out_of_range const& error) {
      EXPECT_EQ(c.thrown, Thrown::out_of_range);
      EXPECT_EQ(error.what(), out_of_range);
    } catch (std::invalid_argument const& error) {
      EXPECT_EQ(c.thrown, Thrown::invalid_argument);
      EXPECT_EQ(error.what(), invalid);
    }
  }
}

TEST(VersionComparatorTokenize, SplitsAtEveryDot) {
  using Pieces = std::vector<std::string>;
  struct Case {
    std::string version;
    Pieces expected;
  };
  Case const cases[] = {
      {"", {}},
      {"1", {"1"}},
      {"10.2.0.1", {"10", "2", "0", "1"}},
      {"1..2", {"1", "", "2"}},
      {".1", {"", "1"}},
      {".", {""}},
      {"..", {"", ""}},
      {"1.2.", {"1", "2"}},
      {" 1 . x ", {" 1 ", " x "}},
  };
  VersionComparator const comparator;
  for (auto const& c : cases) {
    EXPECT_EQ(comparator.tokenizeString(c.version), c.expected) << '"' << c.version << '"';
  }
}

}  // namespace
}  // namespace install::cpputil
