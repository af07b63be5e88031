#include "install/cpputil/InputFileParser.hpp"

#include <filesystem>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/ReferenceGrammar.hpp"
#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

using List = std::vector<ustring>;
using namespace std::string_literals;

// The rules the fuzz target's oracle must follow too; its seeds hold the plainer cases.
TEST(InputFileParserGrammar, BuildsTheMap) {
  std::pair<std::string, PropertyMap> const cases[] = {
      {"Key = Value\na=1\nA=2\n", {{u"key", u"Value"}, {u"a", u"2"}}},
      {"a==b=c\nb===\nc= =d\n", {{u"a", u"b=c"}, {u"b", u""}, {u"c", u"=d"}}},
      {"=x\n \t=\nproduct=x\nPLATFORM = y\n#a=1\n", {{u"#a", u"1"}}},
      {"product.Alpha_Tools\r\nproduct. Beta \nplatform..x_y\nplatform._x_\n",
       {{u"product", List{u"Alpha Tools", u"Beta"}}, {u"platform", List{u"x y", u" x "}}}},
      {"mix.product.a\nbig product.x\n.product.x\nProduct.A\nenable\n",
       {{u"mix", List{u"product.a"}}, {u"big product", List{u"x"}}, {u"", List{u"product.x"}}}},
      {"k=v\nk.product.z\nm.product.z\nm=v\n", {{u"k", u"v"}, {u"m", u"v"}}},
      {"a=1\nb=2", {{u"a", u"1"}}},
      {"\xC3\x84X=\xC3\xA9\nk\xFF=a\xE2\x82\n",
       {{u"\u00C4x", u"\u00E9"}, {u"k\uFFFD", u"a\uFFFD"}}},
  };
  InputFileParser parser;
  for (auto const& [settings, expected] : cases) {
    SCOPED_TRACE(::testing::PrintToString(settings));
    EXPECT_EQ(parser.convertInputsToPropertyMap(settings), expected);
    EXPECT_EQ(reference::convert(settings), expected);
  }
}

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

TEST_F(InputFileParserFile, KeepsTrimmedSettingLines) {
  std::string const value(3'000'000, 'x');  // longer than any read buffer
  std::pair<std::string, std::string> const cases[] = {
      {"\n\n \t\v\f\r\n# a\n   #word\na=1 #word\n", "a=1 #word\n"},
      {"\tkey = value \r\nlast", "key = value\nlast\n"},
      {"a=1\rb=2\r", "a=1\rb=2\n"},
      {"k = " + value + "\r\n" + std::string(200'000, ' ') + "\nproduct.x",
       "k = " + value + "\nproduct.x\n"},
  };
  for (auto const& [content, settings] : cases) {
    SCOPED_TRACE(::testing::PrintToString(content.substr(0, 20)));
    EXPECT_EQ(parser_.getUserInputsFromFile(write(content)), settings);
    EXPECT_EQ(reference::settings_text(content), settings);
  }
}

TEST_F(InputFileParserFile, MissingPathThrowsAndAnUnreadableOneReadsAsEmpty) {
  for (ustring const& path : {ustring(), utf8_to_ustring(dir_ / "missing")}) {
    try {
      parser_.parse(path);
      ADD_FAILURE() << "no exception for " << to_string(path);
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), "input file does not exist!");
    }
    EXPECT_THROW(parser_.getUserInputsFromFile(path), std::runtime_error);
  }
  EXPECT_EQ(parser_.getUserInputsFromFile(utf8_to_ustring(dir_.path().u8string())), "");
  EXPECT_EQ(capture_.take(), "");
#if !defined(_WIN32)  // as nobody, where we are root, so that a mode 000 file keeps us out
  ustring const path = write("a=1\n");
  std::filesystem::permissions(dir_ / "input.txt", std::filesystem::perms::none);
  EXPECT_EQ(testing::in_child([&] { return parser_.getUserInputsFromFile(path); }, 65534), "");
#endif
}

TEST_F(InputFileParserFile, ParseReadsThenConvertsAndTracesEachKeptLineAtDetail) {
  ustring const path =
      write("\xEF\xBB\xBFKey=1\r\n# k=2\r\n\n  product.Alpha_Tools \r\nn=\0\nplatform.x86_64"s);
  EXPECT_EQ(parser_.parse(path), (PropertyMap{{u"\uFEFFkey", u"1"},
                                              {u"n", ustring(1, u'\0')},
                                              {u"platform", List{u"x86 64"}},
                                              {u"product", List{u"Alpha Tools"}}}));
  EXPECT_EQ(capture_.take(),
            "4  line=\xEF\xBB\xBFKey=1\n4  line=product.Alpha_Tools\n4  line=n=\0\n"
            "4  line=platform.x86_64\n"s);
}

}  // namespace
}  // namespace install::cpputil
