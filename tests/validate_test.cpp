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

// Keys in order, each against its own rule; rules of absent keys are not mandatory. A failed
// file rule logs two lines, then throws. A file passes when it is a readable regular one of one
// byte or more: a FIFO without a writer would block a reader forever, as would a console.
TEST(ValidateArgs, StopAtTheFirstViolationInKeyOrder) {
  testing::ScratchDir const scratch;
  std::string const log = scratch / "install.log";
  logger::Logger const logger{log};
  std::map<std::string, std::string> const rules = {
      {"b", "intval"}, {"B", "boolval"}, {"c", "rfile"}, {"z", "rfile"}};
  EXPECT_EQ(thrown([&] {
              validate_args({{"b", "x"}, {"B", "y"}, {"c", "none"}}, rules);
            }),
            "invalid_argument: key='B' value='y' rule='boolval'");
  EXPECT_EQ(thrown([&] { validate_args({{"C", "none"}, {"free", "x"}}, rules); }), "");
  EXPECT_EQ(testing::read_file(log), "");

  std::filesystem::create_directory(scratch / "folder");
  testing::write_file(scratch / "folder/caf\xC3\xA9", "x");
  testing::write_file(scratch / "empty", "");
  // The first passes; as nobody, where we are root, so that a mode 000 file keeps us out.
  std::vector<std::string> paths = {scratch / "folder//caf\xC3\xA9", scratch / "empty", "",
                                    scratch / "folder"};
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
  std::string const missing = scratch / "caf\xC3\xA9.cfg";
  EXPECT_EQ(thrown([&] {
              validate_args({{"b", "1"}, {"c", missing}}, rules);
            }),
            "runtime_error: key='c' value='" + missing + "' rule='rfile'");
  std::string const logged = testing::read_file(log);
  EXPECT_NE(logged.find(") Error reading file " + missing + "\n("), std::string::npos) << logged;
  EXPECT_NE(logged.find(") File '" + missing + "' does not exist or it's empty\n"),
            std::string::npos);
}

}  // namespace
}  // namespace install::cpputil
