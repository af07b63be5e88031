#include "install/cpputil/validate.hpp"

#include <filesystem>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <gtest/gtest.h>

#include "install/cpputil/logger.hpp"

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

// What the call threw, as "<kind>: <what()>", or "" when it threw nothing.
template <typename Call>
std::string thrown(Call call) {
  try {
    call();
  } catch (std::invalid_argument const& error) {
    return std::string("invalid_argument: ") + error.what();
  } catch (std::runtime_error const& error) {
    return std::string("runtime_error: ") + error.what();
  }
  return "";
}

TEST(ValidateArg, AppliesTheRuleNamedBeforeTheFirstColon) {
  // A rule, the values it passes and those it refuses; other rule names pass every value.
  std::tuple<char const*, std::vector<char const*>, std::vector<char const*>> const cases[] = {
      {"strval:a,b,c", {"b", "c"}, {"B", " b", "a,b", ""}},
      {"strval:a, b", {" b"}, {"b"}},
      {"strval:,a", {"", "a"}, {"b"}},
      {"strval:a,", {""}, {"b"}},
      {"strval:a:b", {"a:b"}, {"a"}},
      {"strval", {"strval"}, {"a"}},
      {"boolval", {"tRuE", "FALSE", "Yes", "nO"}, {"y", "1", " true", "no ", "yess", ""}},
      {"intval:1-10",
       {"99", "-7", "\t +7", "12abc", "2147483647", "-2147483648"},
       {"", "abc", "-", "+-1", "2147483648", "-2147483649"}},
      {"StrVal:a", {"abc"}, {}},
      {"INTVAL", {"abc"}, {}},
      {"", {"abc"}, {}},
      {"intval ", {"abc"}, {}},
  };
  for (auto const& [rule, passing, failing] : cases) {
    for (char const* value : passing) {
      EXPECT_EQ(thrown([&] { validate_arg("k", value, rule); }), "") << rule << " / " << value;
    }
    for (char const* value : failing) {
      EXPECT_THROW(validate_arg("k", value, rule), std::invalid_argument) << rule << " / " << value;
    }
  }
  EXPECT_EQ(thrown([] { validate_arg("port", "x8", "intval:1-10"); }),
            "invalid_argument: key='port' value='x8' rule='intval:1-10'");
}

class Validate : public ::testing::Test {
 protected:
  testing::ScratchDir scratch_;
  std::string const log_ = scratch_ / "install.log";
  logger::Logger const logger_{log_};
};

// A FIFO without a writer would block a reader forever, as would a console; devices are no
// files either.
TEST_F(Validate, RfileNeedsAReadableFileOfOneByteOrMore) {
  std::filesystem::create_directory(scratch_ / "folder");
  testing::write_file(scratch_ / "folder/caf\xC3\xA9", "x");
  testing::write_file(scratch_ / "empty", "");
  EXPECT_TRUE(validate_rfile(scratch_.path().u8string() + "//folder///caf\xC3\xA9"));
#if defined(_WIN32)
  std::string const fifo = "CON";
  std::string const device = "NUL";
#else
  ::mkfifo((scratch_ / "fifo").c_str(), 0666);
  std::string const fifo = scratch_ / "fifo";
  std::string const device = "/dev/zero";
#endif
  for (std::string const& path : {scratch_ / "empty", scratch_ / "missing", std::string(),
                                  scratch_ / "folder", fifo, device}) {
    EXPECT_FALSE(validate_rfile(path)) << path;
  }
  if (testing::permissions_bind()) {
    std::filesystem::permissions(std::filesystem::u8path(scratch_ / "folder/caf\xC3\xA9"),
                                 std::filesystem::perms::none);
    EXPECT_FALSE(validate_rfile(scratch_ / "folder/caf\xC3\xA9"));
  }
}

// Keys in order, each against its own rule; rules of absent keys are not mandatory. A failed
// file rule logs two lines, then throws.
TEST_F(Validate, ArgsStopAtTheFirstViolationInKeyOrder) {
  std::map<std::string, std::string> const rules = {
      {"b", "intval"}, {"B", "boolval"}, {"c", "rfile"}, {"z", "rfile"}};
  EXPECT_EQ(thrown([&] {
              validate_args({{"b", "x"}, {"B", "y"}, {"c", "none"}}, rules);
            }),
            "invalid_argument: key='B' value='y' rule='boolval'");
  EXPECT_EQ(testing::read_file(log_), "");
  EXPECT_EQ(thrown([&] { validate_args({{"C", "none"}, {"free", "x"}}, rules); }), "");
  std::string const missing = scratch_ / "caf\xC3\xA9.cfg";
  EXPECT_EQ(thrown([&] {
              validate_args({{"b", "1"}, {"c", missing}}, rules);
            }),
            "runtime_error: key='c' value='" + missing + "' rule='rfile'");
  std::string const log = testing::read_file(log_);
  EXPECT_NE(log.find(") Error reading file " + missing + "\n("), std::string::npos) << log;
  EXPECT_NE(log.find(") File '" + missing + "' does not exist or it's empty\n"), std::string::npos);
}

}  // namespace
}  // namespace install::cpputil
