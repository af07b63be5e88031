#include "install/cpputil/validate.hpp"

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "install/cpputil/logger.hpp"

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using testing::ScratchDir;

// Each rule through validate_arg, so that a failure also shows the exact exception text.
TEST(ValidateArg, AppliesTheRuleNamedBeforeTheFirstColon) {
  struct Case {
    char const* rule;
    std::vector<char const*> passing, failing;
  };
  Case const cases[] = {
      {"strval:a,b,c", {"b", "c"}, {"B", " b", "a,b", ""}},
      {"strval:a, b", {" b"}, {"b"}},
      {"strval:ab", {"ab"}, {"a"}},
      {"strval:", {""}, {"a"}},
      {"strval:,a", {"", "a"}, {}},
      {"strval:a,", {""}, {}},
      {"strval:a,,b", {""}, {}},
      {"strval:a:b", {"a:b"}, {"a"}},
      {"strval", {"strval"}, {"a"}},
      {"boolval", {"tRuE", "FALSE", "Yes", "nO"}, {"y", "1", " true", "no ", "yess", ""}},
      {"intval:1-10",
       {"99", "-7", "\t +7", "12abc", "0x1F", "2147483647", "-2147483648"},
       {"", "abc", "   ", "-", "+-1", "2147483648", "-2147483649"}},
      {"StrVal:a", {"z"}, {}},
      {"INTVAL", {"abc"}, {}},
      {"", {"abc"}, {}},
      {":intval", {"abc"}, {}},
      {"intval ", {"abc"}, {}},
  };
  for (auto const& c : cases) {
    for (char const* value : c.passing) {
      EXPECT_NO_THROW(validate_arg("key", value, c.rule)) << c.rule << " / " << value;
    }
    for (char const* value : c.failing) {
      SCOPED_TRACE(std::string(c.rule) + " / " + value);
      try {
        validate_arg("key", value, c.rule);
        ADD_FAILURE() << "no exception";
      } catch (std::invalid_argument const& error) {
        EXPECT_EQ(error.what(),
                  std::string("key='key' value='") + value + "' rule='" + c.rule + "'");
      }
    }
  }
}

TEST(ValidateRfile, NeedsAReadableFileOfOneByteOrMore) {
  ScratchDir const scratch;
  testing::write_file(scratch / "caf\xC3\xA9", "x");
  testing::write_file(scratch / "empty", "");
  fs::create_directory(scratch / "folder");
  testing::write_file(scratch / "folder/inner", "x");
  EXPECT_TRUE(validate_rfile(scratch / "caf\xC3\xA9"));
  EXPECT_TRUE(validate_rfile(scratch.path().string() + "//folder///inner"));
  for (std::string const& path :
       {scratch / "empty", scratch / "missing", std::string(), scratch / "folder"}) {
    EXPECT_FALSE(validate_rfile(path)) << path;
  }
  if (::geteuid() != 0) {  // root reads whatever the mode says
    ::chmod((scratch / "folder/inner").c_str(), 0);
    EXPECT_FALSE(validate_rfile(scratch / "folder/inner"));
  }
}

// The installation log's messages; each line's time stamp is the logger's affair.
std::vector<std::string> log_messages(fs::path const& file) {
  std::vector<std::string> messages;
  std::istringstream in(testing::read_file(file));
  for (std::string line; std::getline(in, line);) {
    messages.push_back(line.substr(line.find(") ") + 2));
  }
  return messages;
}

class ValidateLog : public ::testing::Test {
 protected:
  ScratchDir scratch_;
  fs::path const log_ = scratch_.path() / "install.log";
};

TEST_F(ValidateLog, FailedFileRuleLogsTwoLinesThenThrowsAndPassedOneLogsNothing) {
  testing::write_file(scratch_ / "input.cfg", "a=1\n");
  std::string const missing = scratch_ / "caf\xC3\xA9.cfg";
  {
    logger::Logger const logger(log_.string());
    validate_arg("config", scratch_ / "input.cfg", "rfile");
    try {
      validate_arg("config", missing, "rfile:optional");
      ADD_FAILURE() << "no exception";
    } catch (std::runtime_error const& error) {
      EXPECT_EQ(dynamic_cast<std::invalid_argument const*>(&error), nullptr);
      EXPECT_EQ(error.what(), "key='config' value='" + missing + "' rule='rfile:optional'");
    }
  }
  EXPECT_EQ(log_messages(log_),
            (std::vector<std::string>{"Error reading file " + missing,
                                      "File '" + missing + "' does not exist or it's empty"}));
}

TEST_F(ValidateLog, ArgsReportTheFirstViolationInKeyOrder) {
  using Map = std::map<std::string, std::string>;
  Map const arguments = {{"b", "x"}, {"B", "y"}, {"c", "missing"}, {"free", "anything"}};
  Map const rules = {{"b", "intval"}, {"B", "boolval"}, {"c", "rfile"}, {"z", "rfile"}};
  logger::Logger const logger(log_.string());
  try {
    validate_args(arguments, rules);
    ADD_FAILURE() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "key='B' value='y' rule='boolval'");
  }
  // Either map empty: nothing to do. Rules for absent keys are not mandatory, and keys match
  // only in their own case.
  EXPECT_NO_THROW(validate_args(arguments, {}));
  EXPECT_NO_THROW(validate_args({}, rules));
  EXPECT_NO_THROW(validate_args({{"C", "missing"}, {"other", "x"}}, rules));
  // "c" sorts after the first violation: its file rule was never run.
  EXPECT_TRUE(log_messages(log_).empty());
}

}  // namespace
}  // namespace install::cpputil
