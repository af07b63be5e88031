// install-cpputil run as a process: outputs, exit statuses and the logs it writes.
#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <regex>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

using testing::read_file;

#if defined(_WIN32)
std::string const kNoSuchFile = std::system_category().message(ERROR_FILE_NOT_FOUND);
constexpr std::uintmax_t kHuge = std::uintmax_t{512} << 20U;  // libstdc++ sets no size past 2 GiB
#else
std::string const kNoSuchFile = "No such file or directory";
constexpr std::uintmax_t kHuge = std::uintmax_t{100} << 30U;  // truncate -s 100G
#endif

// First in a row's arguments: run as nobody, who cannot read a mode 000 file even where the
// tests run as root.
std::string const kNobody = "<nobody>";
// Stands for a pipe holding "a = 1\n", closed for writing, as <(...) gives.
std::string const kPipe = "<pipe>";

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

class Tool : public ::testing::Test {
 protected:
#if defined(_WIN32)
  using Child = testing::Process;
  // Runs in the scratch folder, where its output goes; TMP there keeps off the real default log.
  Child start(std::vector<std::string> args) {
    args.insert(args.begin(), INSTALL_CPPUTIL_TOOL);
    return Child(args, {dir_.path().u8string(), dir_ / "stdout", dir_ / "stderr"});
  }
  Result finish(Child& child) {
    int const status = child.wait();
    return {status, text_of("stdout"), text_of("stderr")};
  }
  // Windows writes text lines with CR LF.
  std::string text_of(std::string const& name) const {
    std::string text = read_file(dir_ / name);
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
  }
  // Ctrl-C reaches the programs of a console: the tool shares a console of this process's own,
  // which ignores the event itself. (Wine sends no Ctrl-Break to a process group.)
  static void share_console() {
    ::FreeConsole();
    ::AllocConsole();
    ::SetConsoleCtrlHandler([](DWORD /*event*/) -> BOOL { return TRUE; }, TRUE);
  }
  static void stop(Child& /*child*/, int event) { ::GenerateConsoleCtrlEvent(event, 0); }
#else
  using Child = pid_t;
  // Runs in the scratch folder, where its output goes; TMPDIR there keeps off the real default log.
  pid_t start(std::vector<std::string> args) {
    passwd const* nobody = nullptr;
    if (args.front() == kNobody) {
      args.erase(args.begin());
      nobody = ::geteuid() == 0 ? ::getpwnam("nobody") : nullptr;
    }
    args.insert(args.begin(), INSTALL_CPPUTIL_TOOL);
    pid_t const pid = ::fork();
    if (pid == 0) {
      ::alarm(60);  // kills a tool that blocks, failing its case rather than hanging the test
      ::setenv("TMPDIR", dir_.path().c_str(), 1);
      std::vector<char*> argv;
      for (auto& arg : args) {
        if (std::array<int, 2> ends{}; arg == kPipe && ::pipe(ends.data()) == 0) {
          static_cast<void>(::write(ends[1], "a = 1\n", 6));
          ::close(ends[1]);
          arg = "/dev/fd/" + std::to_string(ends[0]);
        }
        argv.push_back(arg.data());
      }
      argv.push_back(nullptr);
      if (::chdir(dir_.path().c_str()) == 0) {
        ::dup2(::open("stdout", O_WRONLY | O_CREAT | O_TRUNC, 0644), 1);
        ::dup2(::open("stderr", O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
        if (nobody == nullptr || (::setgroups(0, nullptr) == 0 && ::setgid(nobody->pw_gid) == 0 &&
                                  ::setuid(nobody->pw_uid) == 0)) {
          ::execv(argv[0], argv.data());
        }
      }
      ::_exit(127);
    }
    return pid;
  }
  Result finish(pid_t pid) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            read_file(dir_ / "stdout"), read_file(dir_ / "stderr")};
  }
  static void share_console() {}
  static void stop(Child child, int signal) { ::kill(child, signal); }
#endif
  Result run(std::vector<std::string> args) {
    Child child = start(std::move(args));
    return finish(child);
  }
  std::string file(std::string const& name, std::string const& content) {
    testing::write_file(dir_ / name, content);
    return name;
  }

  std::string log_of(std::string const& name) const {
    std::regex const stamp(
        R"(\((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) \d\d, \d{4} \d\d:\d\d:\d\d\) )");
    return std::regex_replace(read_file(dir_ / name), stamp, "(T) ");
  }

  testing::ScratchDir dir_;
#if defined(_WIN32)
  testing::ScopedEnv tmp_{testing::kTempVariable, dir_.path().u8string()};  // the tool inherits it
#endif
};

TEST_F(Tool, CommandsGiveTheirOutputAndStatus) {
  std::filesystem::create_directories(dir_.path() / "plain/root");
  std::filesystem::create_directories(dir_.path() / "sandboxed/root");
  file("sandboxed/qx_anchor", "");
  file("in", "a = 1\n");
  file("rules", "port = intval\nmode = strval:typical,custom\nreboot = boolval\nlicense = rfile\n");
  file("bad", "port = abc\nmode = fast\nreboot = yes\nlicense = none.txt\n");
  file("good", "port = 80\nmode = custom\nother = x\n");
  file("side", "line one\nline two");
  file("json",
       "# c\r\nName = V\"\r\nproduct.Alpha_Tools\nproduct.Beta\ncaf\xC3\xA9 = cr\xC3\xA8me\n");
  file("locked", "a = 1\n");
  std::filesystem::permissions(dir_ / "locked", std::filesystem::perms::none);
  std::filesystem::permissions(dir_.path(), std::filesystem::perms::others_exec,
                               std::filesystem::perm_options::add);
#if !defined(_WIN32)
  ASSERT_EQ(::mkfifo((dir_ / "fifo").c_str(), 0644), 0);
#endif
  file("huge", "");
  std::filesystem::resize_file(dir_ / "huge", kHuge);
  std::string const any = "<any>";
  auto const e = [](std::string const& text) { return "install-cpputil: " + text + "\n"; };
  std::string const traced = "[install::cpputil::InputFileParser] 4  line=a = 1\n";
  // Arguments, exit status, standard output, standard error and the log "log" afterwards.
  std::tuple<std::vector<std::string>, int, std::string, std::string, std::string> const cases[] = {
    {{"compare", "1.2", "1.2.0"}, 0, "0\n", "", ""},
    {{"compare", "1.99999999999", "1"}, 2, "", e("not a version number: '1.99999999999'"), ""},
    {{"compare", "1.x", "2.y"}, 2, "", e("not a version number: '1.x'"), ""},
    {{"sandbox", "--root", "plain/root"}, 0, "false\n", "", ""},
    {{"sandbox", "--root", "sandboxed/root"}, 0, "true\n", "", ""},
    {{"locale"}, 0, any, "", ""},
    {{"--version"}, 0, "install-cpputil 1.0.0\n", "", ""},
    {{"parse", "json", "--json"},
     0,
     "{\n  \"caf\xC3\xA9\": \"cr\xC3\xA8me\",\n  \"name\": \"V\\\"\",\n"
     "  \"product\": [\n    \"Alpha Tools\",\n    \"Beta\"\n  ]\n}\n",
     "",
     ""},
    {{"check", "bad", "--rules", "rules", "--log", "log"},
     1,
     "key='license' value='none.txt' rule='rfile'\n"
     "key='mode' value='fast' rule='strval:typical,custom'\nkey='port' value='abc' rule='intval'\n",
     "",
     "(T) Error reading file none.txt\n(T) File 'none.txt' does not exist or it's empty\n"},
    {{"check", "good", "--rules", "rules"}, 0, "", "", ""},
    {{"log", "--to", "log", "--file", "side", "1st", "2nd"},
     0,
     "",
     "",
     "(T) 1st\n(T) 2nd\n(T) Content of the file side\nline one\nline two\nEnd of the file side\n"},
    {{"parse", "none.txt"}, 2, "", e("none.txt: " + kNoSuchFile), ""},
    {{"parse", "."}, 2, "", e(".: is a folder, not a file"), ""},
#if !defined(_WIN32)  // users, pipes from <(...) and FIFOs are POSIX's
    {{"parse", kPipe}, 0, "a = 1\n", "", ""},
    {{kNobody, "check", "locked", "--rules", "rules"}, 2, "", e("locked: Permission denied"), ""},
    {{kNobody, "check", "in", "--rules", "locked"}, 2, "", e("locked: Permission denied"), ""},
    {{"check", "fifo", "--rules", "rules"}, 2, "", e("fifo: is a named pipe, not a file"), ""},
    {{"check", "in", "--rules", "fifo"}, 2, "", e("fifo: is a named pipe, not a file"), ""},
    {{"log", "--to", "fifo", "x"}, 2, "", e("fifo: is a pipe, not a file"), ""},
    {{"log", "--to", "log", "--file", "fifo", "x"}, 2, "", e("fifo: is a pipe, not a file"), ""},
#endif
    {{"log", "--to", "log", "--file", "no", "x"}, 2, "", e("no: " + kNoSuchFile), ""},
    {{"log", "--to", "log", "--file", "huge", "x"},
     2,
     "",
     e("huge: larger than 256 MiB, too large to copy into the log"),
     ""},
    {{"log", "--to", "", "x"}, 2, "", e("Install Logger: Cannot open file \"\""), ""},
    {{"log", "--to", "log", "--", "--trace"}, 0, "", "", "(T) --trace\n"},
    {{"--trace", "12", "parse", "in"}, 0, "a = 1\n", traced, ""},
    {{"--trace", "012", "parse", "in"}, 0, "a = 1\n", traced, ""},
    {{"parse", "in", "--trace", "0x0C"}, 0, "a = 1\n", traced, ""},
    {{"--trace", "+4", "locale"}, 2, "", e("not a trace mask: '+4'"), ""},
    {{"bogus"}, 2, "", e("unknown command 'bogus' (see --help)"), ""},
    {{"parse"}, 2, "", e("FILE is required (see --help)"), ""},
  };
  for (auto const& [args, status, out, err, log] : cases) {
    SCOPED_TRACE(args[0] + " " + args.back());
    std::filesystem::remove(dir_ / "log");
    auto const result = run(args);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, out == any ? result.out : out);
    EXPECT_EQ(result.err, err);
    EXPECT_EQ(log_of("log"), log);
  }
  // Records made by the variable's masks go to standard error too.
  testing::ScopedEnv const trace("INSTALL_CPPUTIL_TRACE", "*=12");
  EXPECT_EQ(run({"parse", "in"}).err, traced);
}

TEST_F(Tool, DemoRunsToCompletionOrStopsAtSigintOrSigterm) {
  auto const done = run({"demo", "--dir", "done", "--steps", "1", "--step-ms", "0"});
  ASSERT_EQ(done.status, 0) << done.err;
  EXPECT_NE(done.out.find("Installation log: done/install.log"), std::string::npos);
  EXPECT_TRUE(std::regex_search(
      read_file(dir_ / "done/install.log"),
      std::regex(R"(\) Setup begun\.\n[^]*End of the file [^]*\) Setup finished\.\n$)")));

#if defined(_WIN32)
  std::pair<int, int> const stops[] = {{CTRL_C_EVENT, 130}};
#else
  std::pair<int, int> const stops[] = {{SIGINT, 130}, {SIGTERM, 143}};
#endif
  share_console();
  for (auto const& [signal, status] : stops) {
    std::string const name = std::to_string(signal);
    std::string const log = dir_ / (name + "/install.log");
    Child child = start({"demo", "--dir", name, "--steps", "1000", "--step-ms", "50"});
    // Stop it as a user's Ctrl-C or a service manager would, once the work has begun.
    for (int i = 0; i < 600 && read_file(log).find("Installing") == std::string::npos; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    stop(child, signal);
    auto const stopped = finish(child);
    EXPECT_EQ(stopped.status, status) << stopped.err;
    EXPECT_NE(read_file(log).find(") Interrupted.\n"), std::string::npos) << read_file(log);
    EXPECT_EQ(read_file(log).find("Setup finished."), std::string::npos);
  }
}

}  // namespace
}  // namespace install::cpputil
