// The file side of the parser; the grammar is fuzzed against the plain reading of the format
// from the seeds in fuzz/corpus/InputFileParser.
#include "install/cpputil/InputFileParser.hpp"

#include <filesystem>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

using namespace std::string_literals;

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

// Kept lines are trimmed, blank and comment lines dropped, and each kept line traced.
TEST_F(InputFileParserFile, ParseReadsThenConvertsAndTracesEachKeptLine) {
  std::string const value(3'000'000, 'x');  // longer than any read buffer
  ustring const path =
      write("\xEF\xBB\xBFKey=1\r\n# k=2\r\n\n\t product.Alpha_Tools \r\nv = " + value + "\r\n" +
            std::string(200'000, ' ') + "\nn=\0\nplatform.x_1"s);
  EXPECT_EQ(parser_.parse(path), (PropertyMap{{u"\uFEFFkey", u"1"},
                                              {u"n", ustring(1, u'\0')},
                                              {u"platform", std::vector<ustring>{u"x 1"}},
                                              {u"product", std::vector<ustring>{u"Alpha Tools"}},
                                              {u"v", utf8_to_ustring(value)}}));
  EXPECT_EQ(capture_.take(),
            "4  line=\xEF\xBB\xBFKey=1\n4  line=product.Alpha_Tools\n4  line=v = " + value +
                "\n4  line=n=\0\n4  line=platform.x_1\n"s);
}

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
