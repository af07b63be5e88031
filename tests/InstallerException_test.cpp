#include "install/cpputil/InstallerException.hpp"

#include <gtest/gtest.h>

namespace install::cpputil {
namespace {

TEST(InstallerException, FourTextsKeepTheirPlacesAndWhatIsTheSecondaryMessage) {
  InstallerException const error("E42", "primary", "secondary", "here");
  EXPECT_STREQ(error.what(), "secondary");
  EXPECT_EQ(error.getErrorCode(), "E42");
  EXPECT_EQ(error.getPrimaryErrorMessage(), "primary");
  EXPECT_EQ(error.getSecondaryErrorMessage(), "secondary");
  EXPECT_EQ(error.getLocation(), "here");
}

TEST(InstallerException, OneMessageLeavesTheOtherTextsEmpty) {
  InstallerException const error("only");
  EXPECT_STREQ(error.what(), "only");
  EXPECT_EQ(error.getSecondaryErrorMessage(), "only");
  EXPECT_EQ(error.getErrorCode(), "");
  EXPECT_EQ(error.getPrimaryErrorMessage(), "");
  EXPECT_EQ(error.getLocation(), "");
}

TEST(InstallerException, GettersReturnCopiesAndCopiesCarryEverything) {
  InstallerException const error("c", "p", "s", "l");
  std::string code = error.getErrorCode();
  code += "changed";
  EXPECT_EQ(error.getErrorCode(), "c");

  InstallerException const copy = error;  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_STREQ(copy.what(), "s");
  EXPECT_EQ(copy.getErrorCode(), "c");
  EXPECT_EQ(copy.getPrimaryErrorMessage(), "p");
  EXPECT_EQ(copy.getLocation(), "l");
}

TEST(InstallerException, IsCaughtAsRuntimeError) {
  try {
    throw InstallerException("1", "2", "3", "4");
  } catch (std::runtime_error const& error) {
    EXPECT_STREQ(error.what(), "3");
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
    SCOPED_TRACE(std::string(c.first) + "|" + c.second);
    EXPECT_EQ(createLocation(c.first, c.second), c.expected);
  }
}

}  // namespace
}  // namespace install::cpputil
