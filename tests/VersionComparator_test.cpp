#include "install/cpputil/VersionComparator.hpp"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace install::cpputil {
namespace {

// Typical pairs and those the seed corpus holds are left to the fuzz target's literal reading.
TEST(VersionComparator, ComparesPiecesNumericallyBothWays) {
  struct Case {
    ustring first, second;
    int expected;
  };
  // The last pair is decided before its bad pieces are read.
  Case const cases[] = {
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
  for (auto const& c : cases) {
    SCOPED_TRACE(to_string(c.first) + " vs " + to_string(c.second));
    EXPECT_EQ(comparator.compareVersionNumbers(c.first, c.second), c.expected);
    EXPECT_EQ(comparator.compareVersionNumbers(c.second, c.first), -c.expected);
  }
}

// Callers see exactly what std::stoi throws, its message included.
TEST(VersionComparator, LetsTheExceptionsOfStoiThrough) {
  auto const stoi_message = [](char const* text) {
    try {
      static_cast<void>(std::stoi(text));
    } catch (std::exception const& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  std::string const invalid_text = stoi_message("x");
  std::string const range_text = stoi_message("2147483648");
  struct Case {
    ustring first, second;
    bool out_of_range;  // else std::invalid_argument
  };
  // In the last two pairs the first version's bad piece is read first.
  Case const cases[] = {
      {u"1.+-2", u"1.2", false},        {ustring{u'1', u'.', u'\0', u'2'}, u"1.2", false},
      {u"-2147483649", u"0", true},     {u"99999999999999999999999", u"1", true},
      {u"1.x", u"1.2147483648", false}, {u"1.2147483648", u"1.x", true},
  };
  VersionComparator const comparator;
  for (auto const& c : cases) {
    SCOPED_TRACE(to_string(c.first) + " vs " + to_string(c.second));
    try {
      comparator.compareVersionNumbers(c.first, c.second);
      ADD_FAILURE() << "no exception";
    } catch (std::out_of_range const& error) {
      EXPECT_TRUE(c.out_of_range);
      EXPECT_EQ(error.what(), range_text);
    } catch (std::invalid_argument const& error) {
      EXPECT_FALSE(c.out_of_range);
      EXPECT_EQ(error.what(), invalid_text);
    }
  }
}

TEST(VersionComparator, TokenizeSplitsAtEveryDotAndTrimsNothing) {
  VersionComparator const comparator;
  using Pieces = std::vector<std::string>;
  EXPECT_EQ(comparator.tokenizeString(""), Pieces{});
  EXPECT_EQ(comparator.tokenizeString(".."), (Pieces{"", ""}));
  EXPECT_EQ(comparator.tokenizeString(" 1 .. x ."), (Pieces{" 1 ", "", " x "}));
}

}  // namespace
}  // namespace install::cpputil
