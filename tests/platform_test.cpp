#include "install/cpputil/platform.hpp"

#include <filesystem>
#include <regex>

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

// Ill-formed UTF-8 rows hold Python's bytes.decode("utf-8", "replace"); ill-formed UTF-16 rows
// (unpaired surrogates) give one U+FFFD each. Long ASCII runs reach the block paths.
TEST(UtfConversion, ReplacesEachIllFormedSubpartWithFffd) {
  enum Direction { kBoth, kDecode, kEncode };
  struct Case {
    std::string utf8;
    ustring utf16;
    Direction direction;
  };
  Case const cases[] = {
      {"", u"", kBoth},
      {std::string("a\0b", 3), ustring(u"a\0b", 3), kBoth},
      {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
       u"\x7F\u0080\u07FF\u0800\uFFFF\U00010000\U0010FFFF", kBoth},
      {"abcdefghijklmnopqrstuvwxyz\xC3\xA9", u"abcdefghijklmnopqrstuvwxyz\u00E9", kBoth},
      {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", kDecode},
      {"\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD", kDecode},
      {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD", kDecode},
      {"\xF8\x88\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD", kDecode},
      {"\xF0\x9F\x98", u"\uFFFD", kDecode},
      {"\xEF\xBF\xBDx", ustring{char16_t(0xDC00), u'x'}, kEncode},
      {"\xEF\xBF\xBD\xF0\x9F\x98\x80",
       ustring{char16_t(0xD83D), char16_t(0xD83D), char16_t(0xDE00)}, kEncode},
      {"abcdefghij\xEF\xBF\xBD", u"abcdefghij" + ustring(1, char16_t(0xDBFF)), kEncode},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.utf8));
    if (c.direction != kEncode) {
      EXPECT_EQ(utf8_to_ustring(c.utf8), c.utf16);
    }
    if (c.direction != kDecode) {
      EXPECT_EQ(ustring_to_utf8(c.utf16), c.utf8);
      EXPECT_EQ(to_string(c.utf16), c.utf8);
    }
  }
}

TEST(PathText, NativeFormParentAndConcatenation) {
  struct Case {
    ustring text, native, parent;  // parent of the original text
  };
  Case const cases[] = {{u"", u"", u""},
                        {u"/", u"/", u""},
                        {u"//", u"/", u""},
                        {u"//x", u"/x", u"/"},
                        {u"name", u"name", u""},
                        {u"../x", u"../x", u".."},
                        {u"a//b", u"a/b", u"a"},
                        {u"/opt//app/", u"/opt/app", u"/opt"},
                        {u"/a/./b/../c", u"/a/./b/../c", u"/a/./b/.."}};
  for (auto const& c : cases) {
    SCOPED_TRACE(to_string(c.text));
    EXPECT_EQ(platform::make_native_form(c.text, true), c.native);
    EXPECT_EQ(Path(c.text).text(), c.native);
    EXPECT_EQ(platform::extract_parent_path(c.text), c.parent);
  }
  EXPECT_EQ(platform::make_native_form(u"a//b/", false), u"a/b/");
  ustring joined = u"/opt";
  ustring bare;
  platform::concatenate_pathname(joined, u"qx_anchor");
  platform::concatenate_pathname(bare, u"qx_anchor");
  EXPECT_EQ(joined, u"/opt/qx_anchor");
  EXPECT_EQ(bare, u"qx_anchor");
}

TEST(FileSystem, ExistsAndCreateDirectories) {
  ScratchDir const dir;
  EXPECT_FALSE(platform::exists(Path()));
  Path const deep(u16(dir / "a/b//c/"));
  EXPECT_FALSE(platform::exists(deep));
  EXPECT_TRUE(platform::create_directories(deep));
  EXPECT_TRUE(platform::exists(deep));
  EXPECT_TRUE(fs::is_directory(dir / "a/b/c"));
  EXPECT_FALSE(platform::create_directories(deep));  // already there
  testing::write_file(dir / "file", "x");
  EXPECT_THROW(platform::create_directories(Path(u16(dir / "file/sub"))), std::system_error);
  EXPECT_THROW(platform::create_directories(Path()), std::system_error);
}

TEST(FileSystem, TempDirectoryAndInstallPath) {
  using Var = std::optional<std::string>;
  for (auto const& [value, expected] : std::vector<std::pair<Var, ustring>>{
           {"/scratch/tmp/", u"/scratch/tmp/"}, {"", u"/tmp"}, {std::nullopt, u"/tmp"}}) {
    ScopedEnv const env("TMPDIR", value);
    EXPECT_EQ(platform::temp_directory_name(), expected);
  }
  // The platform code is part of this executable, so the default is read off its path.
  std::string const root = fs::read_symlink("/proc/self/exe").parent_path().parent_path();
  EXPECT_EQ(to_string(platform::get_install_path()), root);
  platform::set_install_path(u"/opt/product/root");
  EXPECT_EQ(platform::get_install_path(), u"/opt/product/root");
  platform::reset_install_path();
  EXPECT_EQ(to_string(platform::get_install_path()), root);
}

TEST(File, OpensAppendWithoutTruncatingAndReadOnlyOnFiles) {
  ScratchDir const dir;
  for (char const* text : {"one\n", "two\n"}) {
    auto file = platform::File::open_append(u16(dir / "log"));
    ASSERT_TRUE(file.is_open());
    EXPECT_TRUE(file.write_all(text));
  }
  EXPECT_EQ(testing::read_file(dir / "log"), "one\ntwo\n");
  EXPECT_EQ(platform::File::open_read(u16(dir / "log")).size(), 8);
  EXPECT_FALSE(platform::File::open_append(u16(dir / "missing/log")).is_open());
  EXPECT_FALSE(platform::File::open_read(u16(dir.path())).is_open());

  fs::create_symlink(dir / "log", dir / "link");
  auto const refuse = platform::File::Links::refuse;
  EXPECT_FALSE(platform::File::open_append(u16(dir / "link"), refuse).is_open());
  EXPECT_TRUE(platform::File::open_append(u16(dir / "link")).is_open());
}

TEST(File, DescriptorsAreCloseOnExec) {
  ScratchDir const dir;
  testing::write_file(dir / "read", "");
  auto const appended = platform::File::open_append(u16(dir / "append"));
  auto const read = platform::File::open_read(u16(dir / "read"));
  ASSERT_TRUE(appended.is_open() && read.is_open());
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
