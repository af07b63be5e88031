#include "install/cpputil/validate.hpp"

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <gtest/gtest.h>

#include "install/cpputil/logger.hpp"

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

// Keys in order, each against its own rule; rules of absent keys are not mandatory. A failed
// file rule throws a runtime_error, the others an invalid_argument.
TEST(ValidateArgs, StopAtTheFirstViolationInKeyOrder) {
  testing::ScratchDir const scratch;
  logger::Logger const logger{scratch / "install.log"};
  std::map<std::string, std::string> const rules = {
      {"b", "intval"}, {"B", "boolval"}, {"c", "rfile"}, {"z", "rfile"}};
  try {
    validate_args({{"b", "x"}, {"B", "y"}, {"c", "none"}}, rules);
    ADD_FAILURE() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "key='B' value='y' rule='boolval'");
  }
  EXPECT_NO_THROW(validate_args({{"C", "none"}, {"free", "x"}}, rules));
  EXPECT_THROW(validate_args({{"b", "1"}, {"c", "none"}}, rules), std::runtime_error);
}

// A readable regular file of one byte or more: a FIFO without a writer would block a reader
// forever, as would a console. The first passes; as nobody, where we are root, so that a mode
// 000 file keeps us out.
TEST(ValidateRfile, NeedsAReadableRegularFileOfOneByteOrMore) {
  testing::ScratchDir const scratch;
  std::filesystem::create_directory(scratch / "folder");
  testing::write_file(scratch / "folder/caf\xC3\xA9", "x");
  testing::write_file(scratch / "empty", "");
  std::vector<std::string> paths = {scratch / "folder//caf\xC3\xA9", scratch / "empty", "",
                                    scratch / "folder", scratch / "missing"};
#if defined(_WIN32)
  paths.insert(paths.end(), {"CON", "NUL"});
#else
  testing::write_file(scratch / "locked", "x");
  ::chmod((scratch / "locked").c_str(), 0);
  ::mkfifo((scratch / "fifo").c_str(), 0666);
  paths.insert(paths.end(), {scratch / "locked", scratch / "fifo", "/dev/zero"});
#endif
  std::string const verdicts = testing::in_child(
      [&paths] {
        std::string verdicts;
        for (auto const& path : paths) {
          verdicts += validate_rfile(path) ? '1' : '0';
        }
        return verdicts;
      },
      65534);
  EXPECT_EQ(verdicts, "1" + std::string(paths.size() - 1, '0'));
}

}  // namespace
}  // namespace install::cpputil
