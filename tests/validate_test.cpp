#include "install/cpputil/validate.hpp"

#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <gtest/gtest.h>

#include "install/cpputil/logger.hpp"

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

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
  };
  // Rule names match exactly; any other name passes every value.
  for (char const* rule : {"StrVal:a", "INTVAL", "", ":intval", "intval "}) {
    EXPECT_NO_THROW(validate_arg("key", "abc", rule)) << rule;
  }
  for (auto const& c : cases) {
    for (char const* value : c.passing) {
      EXPECT_NO_THROW(validate_arg("key", value, c.rule)) << c.rule << " / " << value;
    }
    for (char const* value : c.failing) {
      try {
        validate_arg("key", value, c.rule);
        ADD_FAILURE() << "no exception: " << c.rule << " / " << value;
      } catch (std::invalid_argument const& error) {
        EXPECT_EQ(error.what(),
                  std::string("key='key' value='") + value + "' rule='" + c.rule + "'");
      }
    }
  }
}

TEST(ValidateRfile, NeedsAReadableFileOfOneByteOrMore) {
  ScratchDir const scratch;
  std::filesystem::create_directory(scratch / "folder");
  testing::write_file(scratch / "folder/caf\xC3\xA9", "x");
  testing::write_file(scratch / "empty", "");
  EXPECT_TRUE(validate_rfile(scratch.path().u8string() + "//folder///caf\xC3\xA9"));
  // A FIFO without a writer would block a reader forever, as would a console; devices are no
  // files either.
#if defined(_WIN32)
  std::string const fifo = "CON";
  std::string const device = "NUL";
#else
  ::mkfifo((scratch / "fifo").c_str(), 0666);
  std::string const fifo = scratch / "fifo";
  std::string const device = "/dev/zero";
#endif
  for (std::string const& path :
       {scratch / "empty", scratch / "missing", std::string(), scratch / "folder", fifo, device}) {
    EXPECT_FALSE(validate_rfile(path)) << path;
  }
  if (testing::permissions_bind()) {
    std::filesystem::permissions(testing::fs_path(scratch / "folder/caf\xC3\xA9"),
                                 std::filesystem::perms::none);
    EXPECT_FALSE(validate_rfile(scratch / "folder/caf\xC3\xA9"));
  }
}

class ValidateLog : public ::testing::Test {
 protected:
  ScratchDir scratch_;
  std::string const log_ = scratch_ / "install.log";
  logger::Logger const logger_{log_};
};

TEST_F(ValidateLog, FailedFileRuleLogsTwoLinesThenThrowsAndPassedOneLogsNothing) {
  testing::write_file(scratch_ / "input.cfg", "a=1\n");
  std::string const missing = scratch_ / "caf\xC3\xA9.cfg";
  validate_arg("config", scratch_ / "input.cfg", "rfile");
  try {
    validate_arg("config", missing, "rfile:optional");
    ADD_FAILURE() << "no exception";
  } catch (std::runtime_error const& error) {
    EXPECT_EQ(dynamic_cast<std::invalid_argument const*>(&error), nullptr);
    EXPECT_EQ(error.what(), "key='config' value='" + missing + "' rule='rfile:optional'");
  }
  std::vector<std::string> messages;
  std::istringstream log(testing::read_file(log_));
  for (std::string line; std::getline(log, line);) {
    messages.push_back(line.substr(line.find(") ") + 2));  // after the time stamp
  }
  EXPECT_EQ(messages,
            (std::vector<std::string>{"Error reading file " + missing,
                                      "File '" + missing + "' does not exist or it's empty"}));
}

TEST_F(ValidateLog, ArgsReportTheFirstViolationInKeyOrder) {
  using Map = std::map<std::string, std::string>;
  Map const arguments = {{"b", "x"}, {"B", "y"}, {"c", "missing"}, {"free", "anything"}};
  Map const rules = {{"b", "intval"}, {"B", "boolval"}, {"c", "rfile"}, {"z", "rfile"}};
  try {
    validate_args(arguments, rules);
    ADD_FAILURE() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "key='B' value='y' rule='boolval'");
  }
  // Rules for absent keys are not mandatory, and keys match only in their own case.
  EXPECT_NO_THROW(validate_args({{"C", "missing"}, {"other", "x"}}, rules));
  // "c" sorts after the first violation: its file rule was never run.
  EXPECT_EQ(testing::read_file(log_), "");
}

}  // namespace
}  // namespace install::cpputil
