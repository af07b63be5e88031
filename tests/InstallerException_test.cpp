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
  EXPECT_EQ(texts(InstallerException("only")), "only|||only|");
  InstallerException const four("code", "primary", "secondary", "here");
  try {
    throw four;  // a copy
  } catch (std::runtime_error const& error) {
    EXPECT_EQ(texts(error), "secondary|code|primary|secondary|here");
  }
}

TEST(CreateLocation, JoinsDistinctNamesAndNeverANameToItself) {
  // First, second, joined.
  char const* const cases[][3] = {
      {"install::cpputil", "interrupt", "install::cpputil::interrupt"},
      {"module", "", "module"},
      {"same", "same", "same"},
      {"", "second", "::second"},
      {"Name", "name", "Name::name"},
      {"a ", "a", "a ::a"},
  };
  for (auto const& [first, second, joined] : cases) {
    EXPECT_EQ(createLocation(first, second), joined) << first << "|" << second;
  }
}

}  // namespace
}  // namespace install::cpputil
