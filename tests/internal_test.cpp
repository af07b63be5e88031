// The library's internals: the platform layer, and the channel masks read from the environment.
#include <sstream>
#include <thread>

#if !defined(_WIN32)
#include <csignal>
#include <fstream>

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include "install/cpputil/diagnostics.hpp"

#include "platform/PlatformUtility.hpp"
#include "platform/file.hpp"
#include "platform/filesystem.hpp"
#include "platform/locale.hpp"
#include "platform/path.hpp"
#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using testing::ScopedEnv;
using testing::ScratchDir;

ustring u16(std::string const& text) { return utf8_to_ustring(text); }

// What a LineReader gives, each line followed by '|'.
std::string lines_of(platform::File file) {
  std::string lines;
  platform::LineReader reader(file);
  for (std::string_view line; reader.next(line);) {
    lines += std::string(line) + '|';
  }
  return lines;
}

TEST(PathText, NativeFormParentAndConcatenation) {
  using platform::PathStyle;
  constexpr PathStyle P = PathStyle::posix;
  constexpr PathStyle W = PathStyle::windows;
  struct Case {
    PathStyle style;
    ustring text, native, parent;  // the parent of the text as given
  };
  Case const cases[] = {
      {P, u"", u"", u""},
      {P, u"//", u"/", u""},
      {P, u"//x", u"/x", u"/"},
      {P, u"/opt//app/", u"/opt/app", u"/opt"},
      {P, u"/a/./b/../c", u"/a/./b/../c", u"/a/./b/.."},
      {P, u"a\\b", u"a\\b", u""},
      {W, u"C:/Program Files//App/", u"C:\\Program Files\\App", u"C:/Program Files"},
      {W, u"a:\\b", u"a:\\b", u"a:\\"},
      {W, u"C:/", u"C:\\", u""},
      {W, u"C:a\\b", u"C:a\\b", u"C:a"},
      {W, u"/a", u"\\a", u"/"},
      {W, u"a/b\\\\c\\", u"a\\b\\c", u"a/b"},
      {W, u"//server/share//dir", u"\\\\server\\share\\dir", u"//server/share/"},
      {W, u"\\\\server\\share", u"\\\\server\\share", u""},
      {W, u"\\\\\\x", u"\\\\x", u""},
      {W, u"\\\\?\\C:\\a", u"\\\\?\\C:\\a", u"\\\\?\\C:\\"}};
  for (auto const& c : cases) {
    SCOPED_TRACE(to_string(c.text));
    EXPECT_EQ(platform::make_native_form(c.text, true, c.style), c.native);
    EXPECT_EQ(platform::extract_parent_path(c.text, c.style), c.parent);
    if (c.style == platform::kNativeStyle) {
      EXPECT_EQ(Path(c.text).text(), c.native);
    }
  }
  EXPECT_EQ(platform::make_native_form(u"C:/a//", false, W), u"C:\\a\\");
  for (auto const& [style, name, single] : {std::tuple{P, u"../a\\b:c", u".._a\\b:c"},
                                            std::tuple{W, u"../a\\b:c*\x1F", u".._a_b_c__"}}) {
    EXPECT_EQ(platform::single_file_name(name, style), single);
  }
  for (auto const& [style, path, joined] :
       {std::tuple{P, u"/opt", u"/opt/qx_anchor"}, std::tuple{W, u"D:\\opt", u"D:\\opt\\qx_anchor"},
        std::tuple{W, u"", u"qx_anchor"}}) {
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

TEST(FileSystem, TempDirectoryAsTheEnvironmentNamesIt) {
  using Value = std::optional<std::string>;
#if defined(_WIN32)  // GetTempPathW's answer: the full path, with a trailing separator
  std::pair<Value, ustring> const cases[] = {{"C:\\scratch/tmp", u"C:\\scratch\\tmp\\"}};
#else
  std::pair<Value, ustring> const cases[] = {
      {"/s/tmp/", u"/s/tmp/"}, {"", u"/tmp"}, {std::nullopt, u"/tmp"}, {"/s\xFF", u"/tmp"}};
#endif
  for (auto const& [value, expected] : cases) {
    ScopedEnv const env(testing::kTempVariable, value);
    EXPECT_EQ(platform::temp_directory_name(), expected);
  }
}

// Lines as std::getline splits them, also where they outgrow the reader's buffer or end on its
// edge; and what opens where.
TEST(FileSystem, FilesOpenAndSplitIntoLinesAsGetline) {
  ScratchDir const dir;
  std::string const chunk(16 * 1024, 'c');
  for (std::string const& content :
       {chunk + "\n" + chunk, "x\n" + chunk.substr(2) + "\ny", "a\n" + chunk + chunk}) {
    testing::write_file(dir / "lines", content);
    std::string expected;
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);) {
      expected += line + '|';
    }
    EXPECT_EQ(lines_of(platform::File::open_read(u16(dir / "lines"))), expected) << content.size();
  }
  ustring const with_nul = u16(dir / "lines") + ustring(1, u'\0') + u"x";  // names no file
  EXPECT_FALSE(platform::exists(Path(with_nul)));
  EXPECT_FALSE(platform::File::open_read(with_nul).is_open());
  EXPECT_FALSE(platform::File::open_append(with_nul).is_open());
  EXPECT_FALSE(platform::File::open_read(u16(dir.path().u8string())).is_open());
  EXPECT_THROW(platform::create_directories(Path()), std::system_error);
}

// Appenders lock one another out, whichever handles of the file they hold.
TEST(FileSystem, AppendersTakeTheLockInTurn) {
  ScratchDir const dir;
  platform::File first = platform::File::open_append(u16(dir / "log"));
  platform::File second = platform::File::open_append(u16(dir / "log"));
  EXPECT_EQ(first.try_lock(), platform::File::Lock::taken);
  EXPECT_EQ(second.try_lock(), platform::File::Lock::busy);
}

#if !defined(_WIN32)
// A write past the file-size limit is cut short, and the SIGXFSZ that it raises neither ends the
// process nor stays pending, and the caller's mask comes back as it was, blocking it or not; one
// that the caller held back pending stays theirs.
TEST(FileSystem, AppendPastTheSizeLimitLeavesNoSignal) {
  ScratchDir const dir;
  for (int const caller : {0, 1, 2}) {  // unblocked, blocked, blocked and pending
    EXPECT_EQ(testing::in_child([&dir, caller] {
                sigset_t mask;
                sigemptyset(&mask);
                sigaddset(&mask, SIGXFSZ);
                pthread_sigmask(caller == 0 ? SIG_UNBLOCK : SIG_BLOCK, &mask, nullptr);
                std::signal(SIGXFSZ, SIG_DFL);  // a Python parent, for one, leaves it ignored
                if (caller == 2) std::raise(SIGXFSZ);
                rlimit const limit{4096, RLIM_INFINITY};
                ::setrlimit(RLIMIT_FSIZE, &limit);
                platform::File file =
                    platform::File::open_append(u16(dir / std::to_string(caller)));
                std::string sent = std::to_string(file.append(std::string(5000, 'x')));
                sent += ' ' + std::to_string(file.append("x"));
                sigpending(&mask);
                sent += std::to_string(sigismember(&mask, SIGXFSZ));
                pthread_sigmask(SIG_SETMASK, nullptr, &mask);
                return sent + std::to_string(sigismember(&mask, SIGXFSZ));
              }),
              std::string("4096 0") + "001"[caller] + "011"[caller]);  // pending, blocked
  }
}

// A read error ends the file; a read that a signal interrupts is taken up again.
TEST(FileSystem, LineReaderEndsAtAReadErrorAndReadsOnAfterASignal) {
#if defined(__linux__)
  EXPECT_EQ(lines_of(platform::File::open_read(u"/proc/self/mem")), "");  // offset 0: EIO
#endif

  struct sigaction action {};  // without SA_RESTART: a waiting read fails with EINTR
  action.sa_handler = [](int /*signal*/) {};
  ::sigaction(SIGUSR1, &action, nullptr);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  std::thread writer([&ends, reading = ::pthread_self()] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // the reader waits by then
    ::pthread_kill(reading, SIGUSR1);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(::write(ends[1], "a\nb", 3), 3);
    ::close(ends[1]);
  });
  std::string const lines =
      lines_of(platform::File::open_read(u16("/dev/fd/" + std::to_string(ends[0]))));
  writer.join();
  ::close(ends[0]);
  EXPECT_EQ(lines, "a|b|");
}

// A user the password database does not know is named by USER, then LOGNAME, then "unknown";
// one whose entry outgrows the first buffer is still found.
TEST(PlatformUtility, UserNameWithoutAnEntryOrWithALongOne) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "only root becomes another user";
  }
  std::string const names = testing::in_child(
      [] {
        using Var = std::optional<std::string>;
        std::string names;
        for (auto const& [user, logname] : {std::pair<Var, Var>{"u", "l"},
                                            {"", "l"},
                                            {std::nullopt, ""},
                                            {std::nullopt, std::nullopt}}) {
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
#if defined(__linux__)  // elsewhere no mount namespace makes the file the child's own
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount((dir / "passwd").c_str(), "/etc/passwd", nullptr, MS_BIND, nullptr) != 0)
#endif
    {
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

// Runs as its own CTest entry, with INSTALL_CPPUTIL_TRACE set before the process starts.
TEST(ChannelMasksFromEnvironment, ItemsApplyInOrderAndBadOnesAreSkipped) {
  if (std::getenv("INSTALL_CPPUTIL_TRACE") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    GTEST_SKIP() << "needs INSTALL_CPPUTIL_TRACE";
  }
  // "*=8,a::b=4,c::d=0x1F,bad,=3,e::f=12x,g::h=99999999999,*=0x0C,i::j=-1,x::y=10,=5": the
  // second "*" overrides every item before it; "i::j=-1" and "=5" after it are skipped.
  for (char const* channel : {"a::b", "c::d", "e::f", "g::h", "i::j", "", "never::named", "*"}) {
    EXPECT_EQ(diagnostics::channel_mask(channel), 12U) << channel;
  }
  EXPECT_EQ(diagnostics::channel_mask("x::y"), 10U);
}

}  // namespace
}  // namespace install::cpputil
