// What the parser makes of files it cannot read. Files it reads are parsed by the tool's test,
// and fuzzed against a plain reading of the format from the seeds in fuzz/corpus/.
#include "install/cpputil/InputFileParser.hpp"

#include <filesystem>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

class InputFileParserFile : public ::testing::Test {
 protected:
  ustring write(std::string const& content) {
    testing::write_file(dir_ / "input.txt", content);
    return utf8_to_ustring(dir_ / "input.txt");
  }

  testing::ScratchDir dir_;
  testing::TraceCapture capture_{"install::cpputil::InputFileParser", 4};
  InputFileParser parser_;
};

TEST_F(InputFileParserFile, MissingPathThrowsAndAnUnreadableOneReadsAsEmpty) {
  for (ustring const& path : {ustring(), utf8_to_ustring(dir_ / "missing")}) {
    try {
      parser_.parse(path);
      ADD_FAILURE() << "no exception for " << to_string(path);
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), "input file does not exist!");
    }
  }
  EXPECT_EQ(parser_.getUserInputsFromFile(utf8_to_ustring(dir_.path().u8string())), "");
  EXPECT_EQ(capture_.take(), "");
#if !defined(_WIN32)  // as nobody, where we are root, so that a mode 000 file keeps us out
  ustring const path = write("a=1\n");
  std::filesystem::permissions(dir_ / "input.txt", std::filesystem::perms::none);
  EXPECT_EQ(testing::in_child([&] { return parser_.getUserInputsFromFile(path); }, 65534), "");
#endif
}

}  // namespace
}  // namespace install::cpputil
