#include "install/cpputil/platform.hpp"

#include <clocale>
#include <regex>
#include <sstream>
#include <thread>

#if !defined(_WIN32)
#include <csignal>
#include <fstream>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>
#endif

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

#if defined(_WIN32)
constexpr bool kWindows = true;
#else
constexpr bool kWindows = false;
#endif

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
  using platform::PathStyle;
  struct Case {
    PathStyle style;
    ustring text, native, parent;  // the parent of the text as given
  };
  Case const cases[] = {
      {PathStyle::posix, u"", u"", u""},
      {PathStyle::posix, u"//", u"/", u""},
      {PathStyle::posix, u"//x", u"/x", u"/"},
      {PathStyle::posix, u"name", u"name", u""},
      {PathStyle::posix, u"a//b", u"a/b", u"a"},
      {PathStyle::posix, u"/opt//app/", u"/opt/app", u"/opt"},
      {PathStyle::posix, u"/a/./b/../c", u"/a/./b/../c", u"/a/./b/.."},
      {PathStyle::posix, u"a\\b", u"a\\b", u""},
      {PathStyle::windows, u"", u"", u""},
      {PathStyle::windows, u"C:/Program Files//App/", u"C:\\Program Files\\App",
       u"C:/Program Files"},
      {PathStyle::windows, u"c:\\a", u"c:\\a", u"c:\\"},
      {PathStyle::windows, u"C:/", u"C:\\", u""},
      {PathStyle::windows, u"C:", u"C:", u""},
      {PathStyle::windows, u"C:a\\b", u"C:a\\b", u"C:a"},
      {PathStyle::windows, u"\\", u"\\", u""},
      {PathStyle::windows, u"/a", u"\\a", u"/"},
      {PathStyle::windows, u"a/b\\\\c\\", u"a\\b\\c", u"a/b"},
      {PathStyle::windows, u"..\\.\\Name", u"..\\.\\Name", u"..\\."},
      {PathStyle::windows, u"\\\\server\\share\\dir\\", u"\\\\server\\share\\dir",
       u"\\\\server\\share\\"},
      {PathStyle::windows, u"//server/share//dir", u"\\\\server\\share\\dir", u"//server/share/"},
      {PathStyle::windows, u"\\\\server\\share", u"\\\\server\\share", u""},
      {PathStyle::windows, u"\\\\\\x", u"\\\\x", u""},
      {PathStyle::windows, u"\\\\?\\C:\\a", u"\\\\?\\C:\\a", u"\\\\?\\C:\\"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(to_string(c.text));
    EXPECT_EQ(platform::make_native_form(c.text, true, c.style), c.native);
    EXPECT_EQ(platform::extract_parent_path(c.text, c.style), c.parent);
    if (c.style == platform::kNativeStyle) {
      EXPECT_EQ(Path(c.text).text(), c.native);
    }
  }
  EXPECT_EQ(platform::make_native_form(u"a//b/", false, PathStyle::posix), u"a/b/");
  EXPECT_EQ(platform::make_native_form(u"C:/a//", false, PathStyle::windows), u"C:\\a\\");
  for (auto const& [style, path, joined] :
       {std::tuple{PathStyle::posix, u"/opt", u"/opt/qx_anchor"},
        std::tuple{PathStyle::windows, u"D:\\opt", u"D:\\opt\\qx_anchor"},
        std::tuple{PathStyle::windows, u"", u"qx_anchor"}}) {
    ustring text = path;
    platform::concatenate_pathname(text, u"qx_anchor", style);
    EXPECT_EQ(text, joined);
  }
}

TEST(LocaleName, WindowsNamesSkipTheScriptAndWhatFollowsTheRegion) {
  // {name, language, region}
  char const* const cases[][3] = {{"en-US", "en", "US"},        {"zh-Hans-CN", "zh", "CN"},
                                  {"es-419", "es", "419"},      {"fr", "fr", ""},
                                  {"sr-Latn", "sr", ""},        {"", "en", "US"},
                                  {"de-DE_phoneb", "de", "DE"}, {"ca-ES-valencia", "ca", "ES"},
                                  {"en-USA", "en", ""},         {"zu-ZA", "zu", "ZA"}};
  for (auto const& [name, language, region] : cases) {
    auto const locale = platform::parse_windows_locale_name(name);
    EXPECT_EQ(locale.language() + "_" + locale.region(), std::string(language) + "_" + region)
        << name;
  }
}

TEST(FileSystem, TempDirectoryAndInstallPath) {
  using Var = std::optional<std::string>;
#if defined(_WIN32)  // GetTempPathW's answer: the full path, with a trailing separator
  std::vector<std::pair<Var, ustring>> const cases = {{"C:\\scratch/tmp", u"C:\\scratch\\tmp\\"},
                                                      {"C:\\tmp\\", u"C:\\tmp\\"}};
#else
  std::vector<std::pair<Var, ustring>> const cases = {
      {"/scratch/tmp/", u"/scratch/tmp/"}, {"", u"/tmp"}, {std::nullopt, u"/tmp"}};
#endif
  for (auto const& [value, expected] : cases) {
    ScopedEnv const env(testing::kTempVariable, value);
    EXPECT_EQ(platform::temp_directory_name(), expected);
  }
  platform::set_install_path(u"/opt/product/root");
  platform::reset_install_path();
  // The platform code is part of this executable, so the default is read off its path.
  EXPECT_EQ(testing::fs_path(to_string(platform::get_install_path())),
            testing::self_path().parent_path().parent_path());
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
  EXPECT_FALSE(platform::File::open_read(u16(dir.path().u8string())).is_open());
  bool const linked = testing::make_symlink(dir / "log", dir / "link");  // not under Wine
  if (linked) {
    EXPECT_FALSE(
        platform::File::open_append(u16(dir / "link"), platform::File::Accept::own_regular_file)
            .is_open());
  }
  auto const appended = platform::File::open_append(u16(dir / (linked ? "link" : "log")));
  auto const read = platform::File::open_read(u16(dir / "log"));
  ASSERT_TRUE(appended.is_open());
  EXPECT_EQ(read.size(), 8);
  EXPECT_EQ(testing::open_files_in(dir.path()), std::vector<bool>(2, false)) << "inheritable";
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

#if !defined(_WIN32)
// A read error ends the file; a read that a signal interrupts is taken up again.
TEST(FileSystem, LineReaderEndsAtAReadErrorAndReadsOnAfterASignal) {
  auto memory = platform::File::open_read(u"/proc/self/mem");  // reading offset 0 fails: EIO
  char byte = 0;
  EXPECT_EQ(memory.read(&byte, 1), -1);
  std::string_view line;
  EXPECT_FALSE(platform::LineReader(memory).next(line));

  struct sigaction action {};  // without SA_RESTART: a waiting read fails with EINTR
  struct sigaction saved {};
  action.sa_handler = [](int /*signal*/) {};
  ::sigaction(SIGUSR1, &action, &saved);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  auto pipe = platform::File::open_read(u16("/dev/fd/" + std::to_string(ends[0])));
  std::thread writer([&ends, reading = ::pthread_self()] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the reader waits by then
    ::pthread_kill(reading, SIGUSR1);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(::write(ends[1], "a\nb", 3), 3);
    ::close(ends[1]);
  });
  std::string lines;
  platform::LineReader reader(pipe);
  while (reader.next(line)) {
    lines += std::string(line) + '|';
  }
  writer.join();
  ::sigaction(SIGUSR1, &saved, nullptr);
  ::close(ends[0]);
  EXPECT_EQ(lines, "a|b|");
}
#endif

TEST(PlatformUtility, TimeInTheClassicLocaleAndUserFromThePasswordDatabase) {
  platform::PlatformUtility const utility;
  // The process's own locale must not matter: whatever the environment names, or German.
  std::setlocale(LC_ALL, kWindows ? "German" : "");
  std::string const stamp = utility.getPlatformCurrentTime("%b %d, %Y %H:%M:%S");
  std::setlocale(LC_ALL, "C");
  EXPECT_TRUE(std::regex_match(
      stamp, std::regex(R"((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) \d\d, \d{4} )"
                        R"(([01]\d|2[0-3]):[0-5]\d:[0-6]\d)")))
      << stamp;
  EXPECT_EQ(utility.getPlatformCurrentTime(std::string(300, 'x')), std::string(300, 'x'));
  std::string const name = utility.getPlatformUserName();
  EXPECT_FALSE(name.empty());
  ScopedEnv const user(kWindows ? "USERNAME" : "USER", "someone-else");
  EXPECT_EQ(utility.getPlatformUserName(), name);
}

#if !defined(_WIN32)
// A user the password database does not know is named by USER, then LOGNAME, then "unknown";
// one whose entry outgrows the first buffer is still found.
TEST(PlatformUtility, UserNameWithoutAnEntryOrWithALongOne) {
  if (testing::permissions_bind()) {
    GTEST_SKIP() << "only root becomes another user";
  }
  using Var = std::optional<std::string>;
  std::pair<Var, Var> const environments[] = {
      {"u", "l"}, {"", "l"}, {std::nullopt, ""}, {std::nullopt, std::nullopt}};
  std::string const names = testing::in_child(
      [&environments] {
        std::string names;
        for (auto const& [user, logname] : environments) {
          ScopedEnv const a("USER", user);
          ScopedEnv const b("LOGNAME", logname);
          names += platform::PlatformUtility().getPlatformUserName() + ' ';
        }
        return names;
      },
      54321);
  EXPECT_EQ(names, "u l unknown unknown ");

  std::string const long_entry = testing::in_child([] {
    ScratchDir const dir;
    std::ofstream(dir.path() / "passwd")
        << testing::read_file("/etc/passwd")
        << "cpputil-long:x:54322:54322:" << std::string(5000, 'g') << ":/:/bin/sh\n";
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount((dir / "passwd").c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr) != 0) {
      return std::string("no mount namespace");
    }
    EXPECT_EQ(::seteuid(54322), 0);
    return platform::PlatformUtility().getPlatformUserName();
  });
  if (long_entry == "no mount namespace") {
    GTEST_SKIP() << long_entry;
  }
  EXPECT_EQ(long_entry, "cpputil-long");
}
#endif

}  // namespace
}  // namespace install::cpputil
