#include "install/cpputil/platform.hpp"

#include <filesystem>
#include <regex>
#include <sstream>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "platform/PlatformUtility.hpp"
#include "platform/file.hpp"
#include "platform/path.hpp"
#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using testing::ScopedEnv;
using testing::ScratchDir;

ustring u16(std::string const& text) { return utf8_to_ustring(text); }

// Ill-formed results are Python's bytes.decode("utf-8", "replace"); each unpaired surrogate
// gives one U+FFFD. Long ASCII runs reach the block paths.
TEST(UtfConversion, ReplacesEachIllFormedSubpartWithFffd) {
  std::pair<std::string, ustring> const well_formed[] = {
      {"", u""},
      {std::string("a\0b", 3), ustring(u"a\0b", 3)},
      {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
       u"\x7F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF"},
      {"abcdefghijklmnopqrstuvwxyz\xC3\xA9", u"abcdefghijklmnopqrstuvwxyz\u00E9"}};
  for (auto const& [utf8, utf16] : well_formed) {
    EXPECT_EQ(utf8_to_ustring(utf8), utf16);
    EXPECT_EQ(ustring_to_utf8(utf16), utf8);
    EXPECT_EQ(to_string(utf16), utf8);
  }
  // Surrogate, overlong, above U+10FFFF, five-byte form, then one cut short by the end.
  EXPECT_EQ(utf8_to_ustring(
                "\xED\xA0\x80|\xE0\x80\xAF|\xF4\x90\x80\x80|\xF8\x88\x80\x80\x80|\xF0\x9F\x98"),
            u"\uFFFD\uFFFD\uFFFD|\uFFFD\uFFFD\uFFFD|\uFFFD\uFFFD\uFFFD\uFFFD|"
            u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD|\uFFFD");
  EXPECT_EQ(ustring_to_utf8(ustring{char16_t(0xDC00), u'x', char16_t(0xD83D), char16_t(0xD83D),
                                    char16_t(0xDE00)}),
            "\xEF\xBF\xBDx\xEF\xBF\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(ustring_to_utf8(u"abcdefghij" + ustring(1, char16_t(0xDBFF))),
            "abcdefghij\xEF\xBF\xBD");
}

TEST(PathText, NativeFormParentAndConcatenation) {
  // {text, native form, parent of the text}
  ustring const cases[][3] = {{u"", u"", u""},
                              {u"//", u"/", u""},
                              {u"//x", u"/x", u"/"},
                              {u"name", u"name", u""},
                              {u"a//b", u"a/b", u"a"},
                              {u"/opt//app/", u"/opt/app", u"/opt"},
                              {u"/a/./b/../c", u"/a/./b/../c", u"/a/./b/.."}};
  for (auto const& c : cases) {
    EXPECT_EQ(platform::make_native_form(c[0], true), c[1]);
    EXPECT_EQ(Path(c[0]).text(), c[1]);
    EXPECT_EQ(platform::extract_parent_path(c[0]), c[2]) << to_string(c[0]);
  }
  EXPECT_EQ(platform::make_native_form(u"a//b/", false), u"a/b/");
  ustring joined = u"/opt", bare;
  platform::concatenate_pathname(joined, u"qx_anchor");
  platform::concatenate_pathname(bare, u"qx_anchor");
  EXPECT_EQ(joined, u"/opt/qx_anchor");
  EXPECT_EQ(bare, u"qx_anchor");
}

TEST(FileSystem, TempDirectoryAndInstallPath) {
  using Var = std::optional<std::string>;
  for (auto const& [value, expected] : std::vector<std::pair<Var, ustring>>{
           {"/scratch/tmp/", u"/scratch/tmp/"}, {"", u"/tmp"}, {std::nullopt, u"/tmp"}}) {
    ScopedEnv const env("TMPDIR", value);
    EXPECT_EQ(platform::temp_directory_name(), expected);
  }
  platform::set_install_path(u"/opt/product/root");
  EXPECT_EQ(platform::get_install_path(), u"/opt/product/root");
  platform::reset_install_path();
  // The platform code is part of this executable, so the default is read off its path.
  EXPECT_EQ(to_string(platform::get_install_path()),
            fs::read_symlink("/proc/self/exe").parent_path().parent_path());
}

TEST(FileSystem, FoldersAndFilesOpenedCloseOnExec) {
  ScratchDir const dir;
  EXPECT_FALSE(platform::exists(Path()));
  Path const deep(u16(dir / "a/b//c/"));
  EXPECT_FALSE(platform::exists(deep));
  EXPECT_TRUE(platform::create_directories(deep));
  EXPECT_TRUE(platform::exists(deep));
  EXPECT_FALSE(platform::create_directories(deep));  // already there
  EXPECT_THROW(platform::create_directories(Path()), std::system_error);

  for (char const* text : {"one\n", "two\n"}) {
    EXPECT_TRUE(platform::File::open_append(u16(dir / "log")).append_whole(text));
  }
  EXPECT_EQ(testing::read_file(dir / "log"), "one\ntwo\n");
  ustring const with_nul = u16(dir / "log") + ustring(1, u'\0') + u"x";  // names no file
  EXPECT_FALSE(platform::exists(Path(with_nul)));
  EXPECT_FALSE(platform::File::open_read(with_nul).is_open());
  EXPECT_FALSE(platform::File::open_append(with_nul).is_open());
  EXPECT_THROW(platform::create_directories(Path(u16(dir / "log/sub"))), std::system_error);
  EXPECT_FALSE(platform::File::open_append(u16(dir / "missing/log")).is_open());
  EXPECT_FALSE(platform::File::open_read(u16(dir.path())).is_open());
  fs::create_symlink(dir / "log", dir / "link");
  EXPECT_FALSE(
      platform::File::open_append(u16(dir / "link"), platform::File::Accept::own_regular_file)
          .is_open());
  auto const appended = platform::File::open_append(u16(dir / "link"));
  auto const read = platform::File::open_read(u16(dir / "log"));
  ASSERT_TRUE(appended.is_open());
  EXPECT_EQ(read.size(), 8);
  int found = 0;
  for (auto const& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (fs::read_symlink(entry.path(), ignored).parent_path() == dir.path()) {
      ++found;
      EXPECT_NE(::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
    }
  }
  EXPECT_EQ(found, 2);
}

// Lines as std::getline splits them, also where they outgrow the reader's buffer or end on its
// edge.
TEST(FileSystem, LineReaderSplitsAsGetline) {
  ScratchDir const dir;
  std::string const chunk(16 * 1024, 'c');
  std::string const contents[] = {"",
                                  "\n",
                                  "a",
                                  "a\n\nb\n",
                                  chunk,
                                  chunk + "\n" + chunk,
                                  "x\n" + chunk.substr(2) + "\ny",
                                  std::string(40000, 'l') + "\nz\n",
                                  "a\n" + std::string(70000, 'm')};
  for (auto const& content : contents) {
    testing::write_file(dir / "lines", content);
    std::vector<std::string> expected;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);) {
      expected.push_back(line);
    }
    auto file = platform::File::open_read(u16(dir / "lines"));
    platform::LineReader reader(file);
    std::vector<std::string> lines;
    for (std::string_view line; reader.next(line);) {
      lines.emplace_back(line);
    }
    EXPECT_EQ(lines, expected) << content.size();
  }
}

TEST(PlatformUtility, TimeInTheClassicLocaleAndUserFromThePasswordDatabase) {
  platform::PlatformUtility const utility;
  std::locale::global(std::locale(""));  // whatever the environment says; must not matter
  std::string const stamp = utility.getPlatformCurrentTime("%b %d, %Y %H:%M:%S");
  std::locale::global(std::locale::classic());
  EXPECT_TRUE(std::regex_match(
      stamp, std::regex(R"((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) \d\d, \d{4} )"
                        R"(([01]\d|2[0-3]):[0-5]\d:[0-6]\d)")))
      << stamp;
  EXPECT_EQ(utility.getPlatformCurrentTime(std::string(300, 'x')), std::string(300, 'x'));
  std::string const name = utility.getPlatformUserName();
  EXPECT_FALSE(name.empty());
  ScopedEnv const user("USER", "someone-else");
  EXPECT_EQ(utility.getPlatformUserName(), name);
}

}  // namespace
}  // namespace install::cpputil
