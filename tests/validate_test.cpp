#include "install/cpputil/validate.hpp"

#include <filesystem>
#include <regex>
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
using testing::ScopedEnv;
using testing::ScratchDir;

TEST(ValidateStrval, MatchesOneListedValueByteForByte) {
  struct Case {
    char const* value;
    char const* allowed;
    bool expected;
  };
  Case const cases[] = {
      {"b", "a,b,c", true},   {"c", "a,b,c", true},    {"B", "a,b,c", false},
      {" b", "a,b,c", false}, {"a,b", "a,b,c", false}, {"b", "a, b", false},
      {" b", "a, b", true},   {"", "", true},          {"x", "", false},
      {"", ",a", true},       {"", "a,", true},        {"", "a,,b", true},
      {"", "a,b", false},     {"ab", "a,b", false},    {"a", "a", true},
      {"a", "ab", false},     {"b:c", "a,b:c", true},  {"\xC3\xA9", "e,\xC3\xA9", true},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(validate_strval(c.value, c.allowed), c.expected)
        << '"' << c.value << "\" in \"" << c.allowed << '"';
  }
}

TEST(ValidateBoolval, AcceptsTheFourWordsInAnyCase) {
  for (char const* value : {"true", "FALSE", "Yes", "nO", "tRuE"}) {
    EXPECT_TRUE(validate_boolval(value)) << value;
  }
  for (char const* value : {"t", "y", "1", "0", "on", " true", "no ", "yess", "", "tru"}) {
    EXPECT_FALSE(validate_boolval(value)) << value;
  }
}

TEST(ValidateIntval, ReadsA32BitNumberFromTheStart) {
  for (char const* value :
       {"42", "-7", "+7", "  12", "\t\n5", "12abc", "0x1F", "2147483647", "-2147483648", "007"}) {
    EXPECT_TRUE(validate_intval(value)) << value;
  }
  for (char const* value : {"", "abc", "   ", "-", "+", "+-1", "2147483648", "-2147483649",
                            "99999999999999999999", "x12"}) {
    EXPECT_FALSE(validate_intval(value)) << value;
  }
}

TEST(ValidateRfile, NeedsAReadableFileOfOneByteOrMore) {
  ScratchDir const scratch;
  testing::write_file(scratch / "one", "x");
  testing::write_file(scratch / "empty", "");
  testing::write_file(scratch / "caf\xC3\xA9", "x");
  fs::create_directory(scratch / "folder");
  testing::write_file(scratch / "folder/inner", "x");
  EXPECT_TRUE(validate_rfile(scratch / "one"));
  EXPECT_TRUE(validate_rfile(scratch / "caf\xC3\xA9"));
  EXPECT_TRUE(validate_rfile(scratch.path().string() + "//folder///inner"));
  EXPECT_FALSE(validate_rfile(scratch / "empty"));
  EXPECT_FALSE(validate_rfile(scratch / "missing"));
  EXPECT_FALSE(validate_rfile(""));
  EXPECT_FALSE(validate_rfile(scratch / "folder"));
  if (::geteuid() != 0) {  // root reads whatever the mode says
    testing::write_file(scratch / "locked", "x");
    ::chmod((scratch / "locked").c_str(), 0);
    EXPECT_FALSE(validate_rfile(scratch / "locked"));
  }
}

TEST(ValidateArg, AppliesTheRuleNamedBeforeTheFirstColon) {
  struct Case {
    char const* rule;
    char const* value;
    bool passes;
  };
  Case const cases[] = {
      {"intval:1-10", "99", true}, {"intval:1-10", "many", false}, {"intval", "abc", false},
      {"boolval", "YES", true},    {"boolval:x", "1", false},      {"strval:a,b", "b", true},
      {"strval:a,b", "c", false},  {"strval", "strval", true},     {"strval", "a", false},
      {"strval:", "", true},       {"strval:", "a", false},        {"strval:a:b", "a:b", true},
      {"strval:a:b", "a", false},  {"StrVal:a", "z", true},        {"INTVAL", "abc", true},
      {"", "abc", true},           {":intval", "abc", true},       {"ranged:1", "abc", true},
      {"intval ", "abc", true},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(std::string(c.rule) + " / " + c.value);
    if (c.passes) {
      EXPECT_NO_THROW(validate_arg("key", c.value, c.rule));
      continue;
    }
    try {
      validate_arg("key", c.value, c.rule);
      ADD_FAILURE() << "no exception";
    } catch (std::invalid_argument const& error) {
      EXPECT_EQ(error.what(),
                std::string("key='key' value='") + c.value + "' rule='" + c.rule + "'");
    }
  }
}

// Lines of the installation log, without their time stamps; each must carry a well-formed one.
std::vector<std::string> log_messages(fs::path const& file) {
  static std::regex const line(R"(\([A-Z][a-z]{2} \d{2}, \d{4} \d{2}:\d{2}:\d{2}\) (.*))");
  std::vector<std::string> messages;
  std::istringstream in(fs::exists(file) ? testing::read_file(file) : std::string());
  for (std::string text; std::getline(in, text);) {
    std::smatch match;
    EXPECT_TRUE(std::regex_match(text, match, line)) << text;
    messages.push_back(match[1]);
  }
  return messages;
}

class ValidateLog : public ::testing::Test {
 protected:
  ScratchDir scratch_;
  fs::path const log_ = scratch_.path() / "install.log";
};

TEST_F(ValidateLog, FailedFileRuleLogsTwoLinesThenThrows) {
  std::string const missing = scratch_ / "caf\xC3\xA9.cfg";
  {
    logger::Logger const logger(log_.string());
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

TEST_F(ValidateLog, PassedFileRuleLogsNothing) {
  testing::write_file(scratch_ / "input.cfg", "a=1\n");
  {
    logger::Logger const logger(log_.string());
    validate_arg("config", scratch_ / "input.cfg", "rfile");
  }
  EXPECT_TRUE(log_messages(log_).empty());
}

TEST_F(ValidateLog, WithoutLoggerTheLinesGoToTheDefaultFile) {
  ScopedEnv const tmpdir("TMPDIR", scratch_.path().string());
  EXPECT_THROW(validate_arg("k", "", "rfile"), std::runtime_error);
  std::vector<fs::path> files(fs::directory_iterator(scratch_.path()), {});
  ASSERT_EQ(files.size(), 1U);
  EXPECT_TRUE(std::regex_match(files[0].filename().string(), std::regex("zembrak_.+\\.log")));
  EXPECT_EQ(
      log_messages(files[0]),
      (std::vector<std::string>{"Error reading file ", "File '' does not exist or it's empty"}));
}

TEST_F(ValidateLog, ArgsReportTheFirstViolationInKeyOrder) {
  std::map<std::string, std::string> const arguments = {
      {"b", "x"}, {"B", "y"}, {"c", "missing"}, {"free", "anything"}, {"Port", "abc"}};
  std::map<std::string, std::string> const rules = {
      {"b", "intval"}, {"B", "boolval"}, {"c", "rfile"}, {"port", "intval"}, {"z", "rfile"}};
  logger::Logger const logger(log_.string());
  try {
    validate_args(arguments, rules);
    ADD_FAILURE() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "key='B' value='y' rule='boolval'");
  }
  // "c" sorts after the first violation: its file rule was never run.
  EXPECT_TRUE(log_messages(log_).empty());
}

TEST_F(ValidateLog, ArgsWithoutArgumentsOrRulesDoNothing) {
  std::map<std::string, std::string> const full = {{"c", "rfile"}, {"n", "intval"}};
  logger::Logger const logger(log_.string());
  EXPECT_NO_THROW(validate_args(full, {}));
  EXPECT_NO_THROW(validate_args({}, full));
  // Rules for absent keys are not mandatory; keys match only in their own case.
  EXPECT_NO_THROW(validate_args({{"N", "abc"}, {"other", "abc"}}, full));
  EXPECT_TRUE(log_messages(log_).empty());
}

}  // namespace
}  // namespace install::cpputil
