#include "install/cpputil/platform.hpp"

#include <filesystem>
#include <fstream>
#include <regex>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/PlatformUtility.hpp"
#include "platform/file.hpp"
#include "platform/locale.hpp"
#include "platform/path.hpp"
#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

using testing::ScopedEnv;
using testing::ScratchDir;

struct Utf8Case {
  char const* name;
  std::string input;
  ustring expected;
};
// Expected values are those of Python's bytes.decode("utf-8", "replace").
Utf8Case const kUtf8Cases[] = {
    {"Empty", "", u""},
    {"Ascii", "key = value", u"key = value"},
    {"LongAsciiThenAccent", "abcdefghijklmnopqrstuvwxyz\xC3\xA9",
     u"abcdefghijklmnopqrstuvwxyz\u00E9"},
    {"TwoThreeFourBytes", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", u"\u00E9\u20AC\U0001F600"},
    {"TruncatedThreeByteThenAscii",
     "\xE2\x82"
     "A",
     u"\uFFFDA"},
    {"EncodedSurrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
    {"AboveMaxCodePoint", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"LoneInvalidByte",
     "a\xFF"
     "b",
     u"a\uFFFDb"},
    {"OverlongTwoByte", "\xC0\xAF", u"\uFFFD\uFFFD"},
    {"OverlongThreeByte", "\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},
    {"TruncatedAtEnd", "\xF0\x9F\x98", u"\uFFFD"},
    {"LoneLeadAtEnd", "\xC3", u"\uFFFD"},
    {"BareContinuations", "\x80\x80", u"\uFFFD\uFFFD"},
    {"MixedSubparts",
     "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF"
     "A",
     u"\uFFFD\uFFFD\uFFFD\uFFFDA"},
    {"FiveByteForm", "\xF8\x88\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
    {"EmbeddedNul", std::string("a\0b", 3), ustring(u"a\0b", 3)},
};

class Utf8ToUstring : public ::testing::TestWithParam<Utf8Case> {};
TEST_P(Utf8ToUstring, ReplacesEachMaximalIllFormedSubpart) {
  EXPECT_EQ(utf8_to_ustring(GetParam().input), GetParam().expected);
}
INSTANTIATE_TEST_SUITE_P(Rows, Utf8ToUstring, ::testing::ValuesIn(kUtf8Cases),
                         [](auto const& info) { return std::string(info.param.name); });

TEST(UstringToUtf8, EncodesAndReplacesUnpairedSurrogates) {
  struct Case {
    ustring input;
    std::string expected;
  };
  Case const cases[] = {
      {u"", ""},
      {u"plain ascii text, long enough for blocks", "plain ascii text, long enough for blocks"},
      {u"\u00E9\u20AC\U0001F600", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {ustring(1, char16_t(0xD800)), "\xEF\xBF\xBD"},
      {ustring(1, char16_t(0xDC00)) + u"x", "\xEF\xBF\xBDx"},
      {ustring{char16_t(0xD83D), char16_t(0xD83D), char16_t(0xDE00)},
       "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
      {ustring{u'a', char16_t(0xDBFF)}, "a\xEF\xBF\xBD"},
      {u"\u07FF\u0800\uFFFF", "\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(ustring_to_utf8(c.input), c.expected);
    EXPECT_EQ(to_string(c.input), c.expected);
  }
}

TEST(UstringToUtf8, RoundTripsEveryScalarValue) {
  ustring all;
  for (char32_t cp = 1; cp <= 0x10FFFF; cp += (cp < 0x800 ? 1 : 97)) {
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      continue;
    }
    if (cp >= 0x10000) {
      all.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
      all.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
    } else {
      all.push_back(static_cast<char16_t>(cp));
    }
  }
  EXPECT_EQ(utf8_to_ustring(ustring_to_utf8(all)), all);
}

TEST(PathText, NativeFormParentAndConcatenation) {
  struct Case {
    ustring text;
    ustring native;
    ustring parent;  // of the original text
  };
  Case const cases[] = {
      {u"", u"", u""},
      {u"/", u"/", u""},
      {u"//", u"/", u""},
      {u"/opt//app/", u"/opt/app", u"/opt"},
      {u"a//b", u"a/b", u"a"},
      {u"../x", u"../x", u".."},
      {u"/x", u"/x", u"/"},
      {u"//x", u"/x", u"/"},
      {u"name", u"name", u""},
      {u"a/b/", u"a/b", u"a"},
      {u"/a/./b/../c", u"/a/./b/../c", u"/a/./b/.."},
      {u"/\u00E9t\u00E9//log.txt", u"/\u00E9t\u00E9/log.txt", u"/\u00E9t\u00E9"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(ustring_to_utf8(c.text));
    EXPECT_EQ(platform::make_native_form(c.text, true), c.native);
    EXPECT_EQ(platform::extract_parent_path(c.text), c.parent);
    EXPECT_EQ(Path(c.text).text(), c.native);
  }
  EXPECT_EQ(platform::make_native_form(u"a//b/", false), u"a/b/");

  ustring joined = u"/opt";
  platform::concatenate_pathname(joined, u"qx_anchor");
  EXPECT_EQ(joined, u"/opt/qx_anchor");
  ustring bare;
  platform::concatenate_pathname(bare, u"qx_anchor");
  EXPECT_EQ(bare, u"qx_anchor");
}

TEST(PathValue, EmptyAndComparison) {
  EXPECT_TRUE(Path().empty());
  EXPECT_TRUE(Path(u"").empty());
  EXPECT_EQ(Path(u"/a//b"), Path(u"/a/b"));
  EXPECT_NE(Path(u"/a"), Path(u"/b"));
  EXPECT_EQ(Path(u"/\u00E9").string(), "/\xC3\xA9");
}

TEST(FileSystem, ExistsAndCreateDirectories) {
  ScratchDir const dir;
  EXPECT_FALSE(platform::exists(Path()));
  EXPECT_TRUE(platform::exists(Path(utf8_to_ustring(dir.path().string()))));

  Path const deep(utf8_to_ustring(dir / "a/b//c/"));
  EXPECT_FALSE(platform::exists(deep));
  EXPECT_TRUE(platform::create_directories(deep));
  EXPECT_TRUE(std::filesystem::is_directory(dir / "a/b/c"));
  EXPECT_FALSE(platform::create_directories(deep));  // already there

  testing::write_file(dir / "file", "x");
  EXPECT_THROW(platform::create_directories(Path(utf8_to_ustring(dir / "file/sub"))),
               std::system_error);
  EXPECT_THROW(platform::create_directories(Path()), std::system_error);
}

TEST(FileSystem, TempDirectoryName) {
  {
    ScopedEnv const env("TMPDIR", "/scratch/tmp/");
    EXPECT_EQ(platform::temp_directory_name(), u"/scratch/tmp/");
  }
  {
    ScopedEnv const env("TMPDIR", "");
    EXPECT_EQ(platform::temp_directory_name(), u"/tmp");
  }
  ScopedEnv const env("TMPDIR", std::nullopt);
  EXPECT_EQ(platform::temp_directory_name(), u"/tmp");
}

TEST(FileSystem, InstallPathOverrideAndDefault) {
  // Here the platform code is part of this executable, so the default is read off its path.
  auto const self = std::filesystem::read_symlink("/proc/self/exe");
  EXPECT_EQ(ustring_to_utf8(platform::get_install_path()),
            self.parent_path().parent_path().string());
  platform::set_install_path(u"/opt/product/root");
  EXPECT_EQ(platform::get_install_path(), u"/opt/product/root");
  platform::reset_install_path();
  EXPECT_EQ(ustring_to_utf8(platform::get_install_path()),
            self.parent_path().parent_path().string());
}

TEST(Locale, ParsesNames) {
  struct Case {
    char const* name;
    char const* language;
    char const* region;
  };
  Case const cases[] = {
      {"de_DE.UTF-8@euro", "de", "DE"},
      {"en_US", "en", "US"},
      {"fr", "fr", ""},
      {"C", "en", "US"},
      {"POSIX", "en", "US"},
      {"C.UTF-8", "en", "US"},
      {"", "en", "US"},
      {"sr_RS@latin", "sr", "RS"},
      {"_XX", "", "XX"},
      {"pt_", "pt", ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    auto const locale = platform::parse_locale_name(c.name);
    EXPECT_EQ(locale.language(), c.language);
    EXPECT_EQ(locale.region(), c.region);
  }
}

TEST(Locale, VariablesInOrderOfPrecedence) {
  struct Case {
    std::optional<std::string> lc_all, lc_messages, lang;
    char const* expected;
  };
  Case const cases[] = {
      {"de_DE", "fr_FR", "it_IT", "de_DE"},
      {"", "fr_FR", "it_IT", "fr_FR"},
      {std::nullopt, "", "it_IT", "it_IT"},
      {std::nullopt, std::nullopt, "ja_JP", "ja_JP"},
      {std::nullopt, std::nullopt, std::nullopt, "en_US"},
      {"C", "fr_FR", "it_IT", "en_US"},
  };
  for (auto const& c : cases) {
    ScopedEnv const all("LC_ALL", c.lc_all);
    ScopedEnv const messages("LC_MESSAGES", c.lc_messages);
    ScopedEnv const lang("LANG", c.lang);
    auto const locale = platform::get_locale(platform::kMessagesCategory);
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(locale.language() + "_" + locale.region(), c.expected);
  }
}

TEST(File, AppendCreatesAndNeverTruncates) {
  ScratchDir const dir;
  ustring const path = utf8_to_ustring(dir / "log.txt");
  for (char const* text : {"one\n", "two\n"}) {
    auto file = platform::File::open_append(path);
    ASSERT_TRUE(file.is_open());
    EXPECT_TRUE(file.write_all(text));
  }
  EXPECT_EQ(testing::read_file(dir / "log.txt"), "one\ntwo\n");
  EXPECT_FALSE(platform::File::open_append(utf8_to_ustring(dir / "missing/log.txt")).is_open());
  EXPECT_FALSE(platform::File::open_append(u"").is_open());
}

TEST(File, RefusesSymbolicLinkWhenAsked) {
  ScratchDir const dir;
  testing::write_file(dir / "target", "");
  std::filesystem::create_symlink(dir / "target", dir / "link");
  ustring const link = utf8_to_ustring(dir / "link");
  EXPECT_FALSE(platform::File::open_append(link, platform::File::Links::refuse).is_open());
  EXPECT_TRUE(platform::File::open_append(link).is_open());
}

TEST(File, DescriptorsAreCloseOnExec) {
  ScratchDir const dir;
  auto file = platform::File::open_append(utf8_to_ustring(dir / "f"));
  ASSERT_TRUE(file.is_open());
  int found = -1;
  for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry.path(), ignored) == dir.path() / "f") {
      found = std::stoi(entry.path().filename().string());
    }
  }
  ASSERT_GE(found, 0);
  EXPECT_NE(::fcntl(found, F_GETFD) & FD_CLOEXEC, 0);
}

TEST(LineReader, SplitsAsGetlineDoes) {
  struct Case {
    char const* name;
    std::string content;
    std::vector<std::string> lines;
  };
  std::string const long_line(200 * 1024, 'x');  // spans several read chunks
  std::vector<Case> const cases = {
      {"Empty", "", {}},
      {"OneLineNoFeed", "a=1", {"a=1"}},
      {"FinalFeedAddsNoLine", "a\nb\n", {"a", "b"}},
      {"EmptyLinesStay", "\n\na\n\n", {"", "", "a", ""}},
      {"CarriageReturnsAreText", "a\rb\r", {"a\rb\r"}},
      {"CrLf", "a\r\nb\r\n", {"a\r", "b\r"}},
      {"NulBytes", std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
      {"LongLine", long_line + "\nend", {long_line, "end"}},
  };
  ScratchDir const dir;
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    testing::write_file(dir / c.name, c.content);
    auto file = platform::File::open_read(utf8_to_ustring(dir / c.name));
    ASSERT_TRUE(file.is_open());
    platform::LineReader reader(file);
    std::vector<std::string> lines;
    for (std::string line; reader.next(line);) {
      lines.push_back(line);
    }
    EXPECT_EQ(lines, c.lines);
  }
}

TEST(File, ReadOpensNeitherFoldersNorMissingFiles) {
  ScratchDir const dir;
  EXPECT_FALSE(platform::File::open_read(utf8_to_ustring(dir.path().string())).is_open());
  EXPECT_FALSE(platform::File::open_read(utf8_to_ustring(dir / "none")).is_open());
  testing::write_file(dir / "three", "abc");
  EXPECT_EQ(platform::File::open_read(utf8_to_ustring(dir / "three")).size(), 3);
}

TEST(PlatformUtility, TimeStampPatternInTheClassicLocale) {
  std::locale::global(std::locale(""));  // whatever the environment says; must not matter
  std::string const stamp =
      platform::PlatformUtility().getPlatformCurrentTime("%b %d, %Y %H:%M:%S");
  std::locale::global(std::locale::classic());
  EXPECT_TRUE(std::regex_match(
      stamp, std::regex(R"((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) \d\d, \d{4} )"
                        R"(([01]\d|2[0-3]):[0-5]\d:[0-6]\d)")))
      << stamp;
  EXPECT_EQ(platform::PlatformUtility().getPlatformCurrentTime(""), "");
  EXPECT_EQ(platform::PlatformUtility().getPlatformCurrentTime(std::string(300, 'x')),
            std::string(300, 'x'));
}

TEST(PlatformUtility, UserNameIsThePasswordDatabaseName) {
  std::string const name = platform::PlatformUtility().getPlatformUserName();
  EXPECT_FALSE(name.empty());
  ScopedEnv const user("USER", "someone-else");
  EXPECT_EQ(platform::PlatformUtility().getPlatformUserName(), name);
}

}  // namespace
}  // namespace install::cpputil
