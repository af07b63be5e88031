#include "install/cpputil/InputFileParser.hpp"

#include <filesystem>
#include <random>
#include <stdexcept>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/ReferenceGrammar.hpp"
#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

using testing::ScratchDir;
using testing::TraceCapture;
using testing::TraceRecord;
using List = std::vector<ustring>;
using namespace std::string_literals;

constexpr char const* kChannel = "install::cpputil::InputFileParser";

struct GrammarCase {
  char const* name;
  std::string settings;
  PropertyMap expected;
};
GrammarCase const kGrammarCases[] = {
    {"KeyLoweredValueKept", "Key = Value\n", {{u"key", u"Value"}}},
    {"LastSettingWins", "a=1\nA=2\n", {{u"a", u"2"}}},
    {"RunOfEqualsSkipped", "a==b\n", {{u"a", u"b"}}},
    {"LaterEqualsKept", "a=b=c\n", {{u"a", u"b=c"}}},
    {"EmptyValue", "a=\nb===\n", {{u"a", u""}, {u"b", u""}}},
    {"BlankEndsTheRunOfEquals", "a= =b\n", {{u"a", u"=b"}}},
    {"EmptyKeyIgnored", "=x\n =x\n\t=\n", {}},
    {"SettingOfListKeyIgnored", "product=x\nPLATFORM = y\n", {}},
    {"ListEntriesInOrder",
     "product.Alpha_Tools\nproduct.Beta\n",
     {{u"product", List{u"Alpha Tools", u"Beta"}}}},
    {"RunOfDotsSkipped", "platform..x_y\n", {{u"platform", List{u"x y"}}}},
    {"EdgeUnderscoresBecomeBlanks", "product._x_\n", {{u"product", List{u" x "}}}},
    {"ListTestIsCaseSensitive", "Product.Alpha\nPLATFORM.x\n", {}},
    {"SplitAtFirstDot",
     "mix.product.a\nbig product.x\n",
     {{u"mix", List{u"product.a"}}, {u"big product", List{u"x"}}}},
    {"ListKeyInsideAWord", "xplatform.y\n", {{u"xplatform", List{u"y"}}}},
    {"EmptyListKey", ".product.x\n", {{u"", List{u"product.x"}}}},
    {"EqualsMakesASetting",
     "product.a=1\nk=product.x\n",
     {{u"product.a", u"1"}, {u"k", u"product.x"}}},
    {"ListAfterSettingIgnored", "k=v\nk.product.z\n", {{u"k", u"v"}}},
    {"SettingReplacesList", "k.product.z\nk=v\n", {{u"k", u"v"}}},
    {"EmptyEntries", "product.\nproduct...\n", {{u"product", List{u"", u""}}}},
    {"DuplicateEntriesKept", "product.A\nproduct.A\n", {{u"product", List{u"A", u"A"}}}},
    {"NoFormIgnored", "enable\nproduct\nproduct_x\n", {}},
    {"NoFinalLineFeed", "a=1\nb=2", {{u"a", u"1"}}},
    {"LoneLineWithoutFeed", "a=1", {}},
    {"Empty", "", {}},
    {"CommentsAreNotRecognisedHere", "#a=1\n", {{u"#a", u"1"}}},
    {"SixWhitespaceBytes", "\t\v\f\r key \r=\v value\f\r\n", {{u"key", u"value"}}},
    {"InnerBlanksKept", "my key = a  b\n", {{u"my key", u"a  b"}}},
    {"NoBreakSpaceIsText", "k=\xC2\xA0\n", {{u"k", u"\u00A0"}}},
    {"NonAsciiKeyBytesNotLowered", "\xC3\x84X=\xC3\xA9\n", {{u"\u00C4x", u"\u00E9"}}},
    {"IllFormedUtf8Replaced", "k\xFF=a\xE2\x82\n", {{u"k\uFFFD", u"a\uFFFD"}}},
    {"NulBytesAreText",
     "k\0=v\0w\nproduct.\0_\n"s,
     {{ustring(u"k\0", 2), ustring(u"v\0w", 3)}, {u"product", List{ustring(u"\0 ", 2)}}}},
    {"CarriageReturnBeforeFeed", "product.A\r\nk=v\r\n", {{u"k", u"v"}, {u"product", List{u"A"}}}},
};

// Names the row in test names instead of dumping its bytes.
void PrintTo(GrammarCase const& row, std::ostream* out) { *out << row.name; }

class InputFileParserGrammar : public ::testing::TestWithParam<GrammarCase> {};
TEST_P(InputFileParserGrammar, BuildsTheMap) {
  InputFileParser parser;
  EXPECT_EQ(parser.convertInputsToPropertyMap(GetParam().settings), GetParam().expected);
  // The fuzz targets use the reference as their oracle: hold it to the same table.
  EXPECT_EQ(reference::convert(GetParam().settings), GetParam().expected);
}
INSTANTIATE_TEST_SUITE_P(Rows, InputFileParserGrammar, ::testing::ValuesIn(kGrammarCases),
                         [](auto const& info) { return std::string(info.param.name); });

TEST(InputFileParserText, TrimOnlyTheSixWhitespaceBytes) {
  struct Case {
    std::string text, left, right, both;
  };
  Case const cases[] = {
      {"", "", "", ""},
      {" \t\n\v\f\r", "", "", ""},
      {" \t a b ", "a b ", " \t a b", "a b"},
      {" a b \r\n", "a b \r\n", " a b", "a b"},
      {"a\tb", "a\tb", "a\tb", "a\tb"},
      {"\0 a \0"s, "\0 a \0"s, "\0 a \0"s, "\0 a \0"s},
      {"\xC2\xA0x\x85", "\xC2\xA0x\x85", "\xC2\xA0x\x85", "\xC2\xA0x\x85"},
  };
  InputFileParser const parser;
  for (auto const& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.text));
    EXPECT_EQ(parser.ltrim(c.text), c.left);
    EXPECT_EQ(parser.rtrim(c.text), c.right);
    EXPECT_EQ(parser.trim(c.text), c.both);
  }
}

TEST(InputFileParserText, LowerCaseChangesOnlyAsciiCapitals) {
  InputFileParser const parser;
  EXPECT_EQ(parser.stringToLowerCase("KeyName_X 09"), "keyname_x 09");
  EXPECT_EQ(parser.stringToLowerCase("\xC3\x84\xC3\x96\x80\xFF"), "\xC3\x84\xC3\x96\x80\xFF");
  EXPECT_EQ(parser.stringToLowerCase("A\0B"s), "a\0b"s);
}

TEST(InputFileParserText, ShouldAppend) {
  struct Case {
    std::string line;
    bool expected;
  };
  Case const cases[] = {{"", false},        {"#", false}, {"#a=1", false}, {"   ", false},
                        {"\t\r", false},    {"a", true},  {" #a", true},   {"a#", true},
                        {"\xC2\xA0", true}, {"\0"s, true}};
  for (auto const& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.line));
    EXPECT_EQ(shouldAppend(c.line), c.expected);
  }
}

TEST(InputFileParserText, RemoveUnderscoresKeepsLength) {
  struct Case {
    ustring text, expected;
  };
  Case const cases[] = {
      {u"a_b__c", u"a b  c"}, {u"abc", u"abc"}, {u"", u""}, {u"_\uFF3F", u" \uFF3F"}};
  InputFileParser parser;
  for (auto c : cases) {
    SCOPED_TRACE(ustring_to_utf8(c.expected));
    parser.removeUnderscores(c.text);
    EXPECT_EQ(c.text, c.expected);
  }
}

class InputFileParserFile : public ::testing::Test {
 protected:
  void SetUp() override { capture_.enable(kChannel, 4); }
  ustring write(std::string const& content, std::string const& name = "input.txt") {
    testing::write_file(dir_ / name, content);
    return utf8_to_ustring(dir_ / name);
  }

  ScratchDir dir_;
  TraceCapture capture_;
  InputFileParser parser_;
};

struct ReadCase {
  char const* name;
  std::string content;
  std::string settings;
};
ReadCase const kReadCases[] = {
    {"EmptyFile", "", ""},
    {"BlankLines", "\n\n  \n", ""},
    {"WhitespaceOnlyLine", " \t\v\f\r\n", ""},
    {"Comments", "# a\n#b=1\n   #word\n", ""},
    {"HashAfterTextKept", "a=1 #word\n", "a=1 #word\n"},
    {"TrimmedButInnerBlanksKept", "\tkey = value \r\n", "key = value\n"},
    {"NoFinalLineFeed", "a=1", "a=1\n"},
    {"CarriageReturnsAloneMakeOneLine", "a=1\rb=2\r", "a=1\rb=2\n"},
    {"DuplicatesKept", "x=1\nx=1\n", "x=1\nx=1\n"},
    {"NoBreakSpaceIsText", "\xC2\xA0\n", "\xC2\xA0\n"},
    {"ByteOrderMarkIsNotACommentStart", "\xEF\xBB\xBF# c\r\nk=v\r\n", "\xEF\xBB\xBF# c\nk=v\n"},
    {"NulBytesAreText", "a=\0b\n\0\n \0 \n"s, "a=\0b\n\0\n\0\n"s},
    {"IllFormedUtf8Untouched", "k=\xFF\xFE\n\xC3(\n", "k=\xFF\xFE\n\xC3(\n"},
};

void PrintTo(ReadCase const& row, std::ostream* out) { *out << row.name; }

class InputFileParserRead : public InputFileParserFile,
                            public ::testing::WithParamInterface<ReadCase> {};
TEST_P(InputFileParserRead, KeepsTrimmedSettingLines) {
  EXPECT_EQ(parser_.getUserInputsFromFile(write(GetParam().content)), GetParam().settings);
  EXPECT_EQ(reference::settings_text(GetParam().content), GetParam().settings);
}
INSTANTIATE_TEST_SUITE_P(Rows, InputFileParserRead, ::testing::ValuesIn(kReadCases),
                         [](auto const& info) { return std::string(info.param.name); });

TEST_F(InputFileParserFile, TracesEachKeptLineAtDetail) {
  ustring const path = write("a=1\n# c\n\n  b = 2 \r\nn=\0\n"s);
  parser_.getUserInputsFromFile(path);
  EXPECT_EQ(capture_.records(), (std::vector<TraceRecord>{{kChannel, 4, " line=a=1"},
                                                          {kChannel, 4, " line=b = 2"},
                                                          {kChannel, 4, " line=n=\0"s}}));
  capture_.clear();
  capture_.enable(kChannel, 8);
  parser_.getUserInputsFromFile(path);
  EXPECT_TRUE(capture_.records().empty());
}

TEST_F(InputFileParserFile, MissingPathThrowsBeforeAnyTrace) {
  for (ustring const& path :
       {ustring(), utf8_to_ustring(dir_ / "missing"), ustring(u"/nonexistent/x")}) {
    SCOPED_TRACE(ustring_to_utf8(path));
    try {
      parser_.parse(path);
      ADD_FAILURE() << "no exception";
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), "input file does not exist!");
    }
    EXPECT_THROW(parser_.getUserInputsFromFile(path), std::runtime_error);
  }
  EXPECT_TRUE(capture_.records().empty());
}

TEST_F(InputFileParserFile, FolderReadsAsEmpty) {
  EXPECT_EQ(parser_.getUserInputsFromFile(utf8_to_ustring(dir_.path().string())), "");
  EXPECT_TRUE(parser_.parse(utf8_to_ustring(dir_.path().string())).empty());
}

TEST_F(InputFileParserFile, UnreadableFileReadsAsEmpty) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "root reads files without read permission";
  }
  ustring const path = write("a=1\n");
  std::filesystem::permissions(dir_ / "input.txt", std::filesystem::perms::none);
  EXPECT_EQ(parser_.getUserInputsFromFile(path), "");
  EXPECT_TRUE(parser_.parse(path).empty());
  EXPECT_TRUE(capture_.records().empty());
}

TEST_F(InputFileParserFile, LinesLongerThanAnyBuffer) {
  std::string const value(3'000'000, 'x');
  ustring const path = write("k = " + value + "\r\n" + std::string(200'000, ' ') + "\nproduct.x");
  EXPECT_EQ(parser_.getUserInputsFromFile(path), "k = " + value + "\nproduct.x\n");
  EXPECT_EQ(parser_.parse(path),
            (PropertyMap{{u"k", ustring(value.begin(), value.end())}, {u"product", List{u"x"}}}));
}

TEST_F(InputFileParserFile, ParseReadsThenConverts) {
  ustring const path = write(
      "\xEF\xBB\xBFKey=1\r\n# product.skipped\r\n\r\n  product.Alpha_Tools \r\nName = "
      "Gr\xC3\xB6\xC3\x9F"
      "e\r\nplatform.x86_64");
  EXPECT_EQ(parser_.parse(path), (PropertyMap{{u"\uFEFFkey", u"1"},
                                              {u"name", u"Gr\u00F6\u00DFe"},
                                              {u"platform", List{u"x86 64"}},
                                              {u"product", List{u"Alpha Tools"}}}));
  EXPECT_TRUE(parser_.parse(write("# only\n\n   \n#a=1\n", "comments.txt")).empty());
}

// Random lines over the grammar's delimiters, compared with the reference reading.
TEST_F(InputFileParserFile, AgreesWithTheReferenceOnRandomInput) {
  char const* const pieces[] = {"a",        "K",        "=",        "==",          ".",
                                "..",       "_",        " ",        "\t",          "\r",
                                "\n",       "#",        "product.", "platform.",   "product",
                                "PRODUCT.", "\xC3\xA9", "\xFF",     "\xEF\xBB\xBF"};
  std::mt19937 random(20240611);  // fixed: a failure must be reproducible
  std::uniform_int_distribution<std::size_t> pick(0, std::size(pieces) - 1);
  std::uniform_int_distribution<int> length(0, 40);
  for (int round = 0; round < 300; ++round) {
    std::string text;
    for (int n = length(random); n > 0; --n) {
      text += pieces[pick(random)];
    }
    SCOPED_TRACE(::testing::PrintToString(text));
    EXPECT_EQ(parser_.convertInputsToPropertyMap(text), reference::convert(text));
    EXPECT_EQ(parser_.trim(text), reference::trim(text));
    EXPECT_EQ(shouldAppend(text), reference::should_append(text));
    if (round % 10 == 0) {
      ustring const path = write(text);
      EXPECT_EQ(parser_.getUserInputsFromFile(path), reference::settings_text(text));
      EXPECT_EQ(parser_.parse(path), reference::convert(reference::settings_text(text)));
    }
  }
}

}  // namespace
}  // namespace install::cpputil
