#include "install/cpputil/InstallerException.hpp"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace install::cpputil {
namespace {

TEST(InstallerException, CarriesItsFourTextsAndJoinsLocations) {
  // what(), then the four getters, joined by '|'.
  auto const texts = [](std::runtime_error const& caught) {
    auto const& error = dynamic_cast<InstallerException const&>(caught);
    return std::string(error.what()) + "|" + error.getErrorCode() + "|" +
           error.getPrimaryErrorMessage() + "|" + error.getSecondaryErrorMessage() + "|" +
           error.getLocation();
  };
  EXPECT_EQ(texts(InstallerException("only")), "only|||only|");
  EXPECT_EQ(texts(InstallerException("code", "primary", "secondary", "here")),
            "secondary|code|primary|secondary|here");
  // First, second, joined: never a name to itself.
  char const* const cases[][3] = {{"module", "", "module"},
                                  {"same", "same", "same"},
                                  {"", "second", "::second"},
                                  {"Name", "name", "Name::name"}};
  for (auto const& [first, second, joined] : cases) {
    EXPECT_EQ(createLocation(first, second), joined) << first << "|" << second;
  }
}

}  // namespace
}  // namespace install::cpputil
