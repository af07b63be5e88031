#include "install/cpputil/InstallerException.hpp"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace install::cpputil {
namespace {

// what(), then the four getters, joined by '|'.
std::string texts(std::runtime_error const& caught) {
  auto const& error = dynamic_cast<InstallerException const&>(caught);
  return std::string(error.what()) + "|" + error.getErrorCode() + "|" +
         error.getPrimaryErrorMessage() + "|" + error.getSecondaryErrorMessage() + "|" +
         error.getLocation();
}

TEST(InstallerException, WhatIsTheSecondaryMessageAndCopiesCarryAllFourTexts) {
  InstallerException const four("code", "primary", "secondary", "here");
  EXPECT_EQ(texts(four), "secondary|code|primary|secondary|here");
  EXPECT_EQ(texts(InstallerException("only")), "only|||only|");
  four.getErrorCode() += "changed";      // a copy, not the field
  InstallerException const copy = four;  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(texts(copy), "secondary|code|primary|secondary|here");
  try {
    throw four;
  } catch (std::runtime_error const& error) {
    EXPECT_EQ(texts(error), "secondary|code|primary|secondary|here");
  }
}

TEST(CreateLocation, JoinsDistinctNamesAndNeverANameToItself) {
  struct Case {
    char const* first;
    char const* second;
    char const* expected;
  };
  Case const cases[] = {
      {"install::cpputil", "interrupt", "install::cpputil::interrupt"},
      {"module", "", "module"},
      {"same", "same", "same"},
      {"", "", ""},
      {"", "second", "::second"},
      {"Name", "name", "Name::name"},
      {"a ", "a", "a ::a"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(createLocation(c.first, c.second), c.expected) << c.first << "|" << c.second;
  }
}

}  // namespace
}  // namespace install::cpputil
