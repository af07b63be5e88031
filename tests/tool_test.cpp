// install-cpputil run as a process: outputs, exit statuses and the logs it writes.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <regex>
#include <string>
#include <system_error>
#include <thread>
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

namespace fs = std::filesystem;
using testing::read_file;

// First of a row's arguments: run as nobody, whom a mode 000 file keeps out even where the
// tests run as root.
std::string const kNobody = "<nobody>";
// Stands for a pipe holding "a = 1\n", closed for writing, as <(...) gives.
std::string const kPipe = "<pipe>";

struct Result {
  int status = -1;
  std::string out, err;
};

#if defined(_WIN32)
std::string const kNoSuchFile = std::system_category().message(ERROR_FILE_NOT_FOUND);
constexpr std::uintmax_t kHuge = std::uintmax_t{512} << 20U;  // libstdc++ sets no size past 2 GiB

// The tool in `dir`, its output in files there. Ctrl-C reaches it through a console that this
// process shares with it and ignores itself (Wine sends no Ctrl-Break to a process group).
class Child {
 public:
  Child(std::vector<std::string> const& args, fs::path const& dir) {
    std::wstring line;
    for (auto const& arg : args) {
      line += L" \"" + fs::u8path(arg).wstring() + L"\"";
    }
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    auto const create = [&](char const* name) {
      return ::CreateFileW((dir / name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherited,
                           CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    };
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = create("stdout");
    startup.hStdError = create("stderr");
    PROCESS_INFORMATION process{};
    if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                         dir.wstring().c_str(), &startup, &process) != 0) {
      ::CloseHandle(process.hThread);
      handle_ = process.hProcess;
    }
    ::CloseHandle(startup.hStdOutput);
    ::CloseHandle(startup.hStdError);
  }
  int wait() {
    DWORD status = 0;
    if (::WaitForSingleObject(handle_, 60000) != WAIT_OBJECT_0) {
      ::TerminateProcess(handle_, 1);
    }
    ::GetExitCodeProcess(handle_, &status);
    ::CloseHandle(handle_);
    return static_cast<int>(status);
  }
  static void share_console() {
    ::FreeConsole();
    ::AllocConsole();
    ::SetConsoleCtrlHandler([](DWORD /*event*/) -> BOOL { return TRUE; }, TRUE);
  }
  void stop(int event) { ::GenerateConsoleCtrlEvent(event, 0); }

 private:
  HANDLE handle_ = nullptr;
};
#else
std::string const kNoSuchFile = "No such file or directory";
constexpr std::uintmax_t kHuge = std::uintmax_t{100} << 30U;  // truncate -s 100G

// The tool in `dir`, its output in files there, TMPDIR there too: never the real default log.
class Child {
 public:
  Child(std::vector<std::string> args, fs::path const& dir) : pid_(::fork()) {
    if (pid_ != 0) {
      return;
    }
    ::alarm(60);  // a tool that blocks fails its row rather than hanging the test
    ::setenv("TMPDIR", dir.c_str(), 1);
    passwd const* nobody = nullptr;
    if (args[1] == kNobody) {
      args.erase(args.begin() + 1);
      nobody = ::geteuid() == 0 ? ::getpwnam("nobody") : nullptr;
    }
    std::vector<char*> argv;
    for (auto& arg : args) {
      if (int ends[2]; arg == kPipe && ::pipe(ends) == 0) {
        static_cast<void>(::write(ends[1], "a = 1\n", 6));
        ::close(ends[1]);
        arg = "/dev/fd/" + std::to_string(ends[0]);
      }
      argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    if (::chdir(dir.c_str()) == 0 && ::dup2(::creat("stdout", 0644), 1) == 1 &&
        ::dup2(::creat("stderr", 0644), 2) == 2 &&
        (nobody == nullptr || (::setgroups(0, nullptr) == 0 && ::setgid(nobody->pw_gid) == 0 &&
                               ::setuid(nobody->pw_uid) == 0))) {
      ::execv(argv[0], argv.data());
    }
    ::_exit(127);
  }
  int wait() const {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  static void share_console() {}
  void stop(int signal) const { ::kill(pid_, signal); }

 private:
  pid_t pid_;
};
#endif

class Tool : public ::testing::Test {
 protected:
  Child start(std::vector<std::string> args) const {
    args.insert(args.begin(), INSTALL_CPPUTIL_TOOL);
    return {args, dir_.path()};
  }
  Result finish(Child& child) const {
    int const status = child.wait();
    return {status, text_of("stdout"), text_of("stderr")};
  }
  Result run(std::vector<std::string> args) const {
    Child child = start(std::move(args));
    return finish(child);
  }
  // Without the CR of Windows' line ends, and with each time stamp made "(T) ".
  std::string text_of(std::string const& name) const {
    static std::regex const stamp(R"(\([A-Z][a-z][a-z] \d\d, \d{4} \d\d:\d\d:\d\d\) )");
    std::string text = read_file(dir_ / name);
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return std::regex_replace(text, stamp, "(T) ");
  }
  void file(std::string const& name, std::string const& content) const {
    testing::write_file(dir_ / name, content);
  }

  testing::ScratchDir dir_;
#if defined(_WIN32)
  testing::ScopedEnv tmp_{testing::kTempVariable, dir_.path().u8string()};  // the tool inherits it
#endif
};

struct Row {
  std::vector<std::string> args;
  int status;
  std::string out{}, err{}, log{};  // log: the log "log" afterwards
};

TEST_F(Tool, CommandsGiveTheirOutputAndStatus) {
  fs::create_directories(dir_.path() / "plain/root");
  fs::create_directories(dir_.path() / "sandboxed/root");
  file("sandboxed/qx_anchor", "");
  file("in", "a = 1\n");
  file("rules", "port = intval\nmode = strval:typical,custom\nreboot = boolval\nlicense = rfile\n");
  file("bad", "port = abc\nmode = fast\nreboot = yes\nlicense = none.txt\n");
  file("side", "line one\nline two");
  file("json", "Name = V\"\r\nproduct.Alpha_Tools\nproduct.Beta\ncaf\xC3\xA9 = cr\xC3\xA8me\n");
  file("locked", "a = 1\n");
  fs::permissions(dir_ / "locked", fs::perms::none);
  fs::permissions(dir_.path(), fs::perms::others_exec, fs::perm_options::add);
#if !defined(_WIN32)
  ASSERT_EQ(::mkfifo((dir_ / "fifo").c_str(), 0644), 0);
#endif
  file("huge", "");
  fs::resize_file(dir_ / "huge", kHuge);
  auto const e = [](std::string const& text) { return "install-cpputil: " + text + "\n"; };
  std::string const traced = "[install::cpputil::InputFileParser] 4  line=a = 1\n";
  Row const rows[] = {
    {{"compare", "1.99999999999", "1"}, 2, "", e("not a version number: '1.99999999999'")},
    {{"compare", "1.x", "2.y"}, 2, "", e("not a version number: '1.x'")},
    {{"sandbox", "--root", "plain/root"}, 0, "false\n"},
    {{"sandbox", "--root", "sandboxed/root"}, 0, "true\n"},
    {{"parse", "json", "--json"},
     0,
     "{\n  \"caf\xC3\xA9\": \"cr\xC3\xA8me\",\n  \"name\": \"V\\\"\",\n"
     "  \"product\": [\n    \"Alpha Tools\",\n    \"Beta\"\n  ]\n}\n"},
    {{"check", "bad", "--rules", "rules", "--log", "log"},
     1,
     "key='license' value='none.txt' rule='rfile'\n"
     "key='mode' value='fast' rule='strval:typical,custom'\nkey='port' value='abc' rule='intval'\n",
     "",
     "(T) Error reading file none.txt\n(T) File 'none.txt' does not exist or it's empty\n"},
    {{"log", "--to", "log", "--file", "side", "1st", "2nd"},
     0,
     "",
     "",
     "(T) 1st\n(T) 2nd\n(T) Content of the file side\nline one\nline two\nEnd of the file side\n"},
    {{"log", "--to", "log", "--", "--trace"}, 0, "", "", "(T) --trace\n"},
    {{"parse", "none.txt"}, 2, "", e("none.txt: " + kNoSuchFile)},
    {{"parse", "."}, 2, "", e(".: is a folder, not a file")},
#if !defined(_WIN32)  // users, pipes from <(...) and FIFOs are POSIX's
    {{"parse", kPipe}, 0, "a = 1\n"},
    {{kNobody, "check", "locked", "--rules", "rules"}, 2, "", e("locked: Permission denied")},
    {{kNobody, "check", "in", "--rules", "locked"}, 2, "", e("locked: Permission denied")},
    {{"check", "fifo", "--rules", "rules"}, 2, "", e("fifo: is a named pipe, not a file")},
    {{"check", "in", "--rules", "fifo"}, 2, "", e("fifo: is a named pipe, not a file")},
    {{"log", "--to", "fifo", "x"}, 2, "", e("fifo: is a pipe, not a file")},
    {{"log", "--to", "log", "--file", "fifo", "x"}, 2, "", e("fifo: is a pipe, not a file")},
#endif
    {{"log", "--to", "log", "--file", "no", "x"}, 2, "", e("no: " + kNoSuchFile)},
    {{"log", "--to", "log", "--file", "huge", "x"},
     2,
     "",
     e("huge: larger than 256 MiB, too large to copy into the log")},
    {{"log", "--to", "", "x"}, 2, "", e("Install Logger: Cannot open file \"\"")},
    {{"--trace", "012", "parse", "in"}, 0, "a = 1\n", traced},
    {{"parse", "in", "--trace", "0x0C"}, 0, "a = 1\n", traced},
    {{"--trace", "+4", "locale"}, 2, "", e("not a trace mask: '+4'")},
    {{"bogus"}, 2, "", e("unknown command 'bogus' (see --help)")},
    {{"parse"}, 2, "", e("FILE is required (see --help)")},
  };
  for (auto const& row : rows) {
    SCOPED_TRACE(row.args[0] + " " + row.args.back());
    fs::remove(dir_ / "log");
    auto const result = run(row.args);
    EXPECT_EQ(result.status, row.status);
    EXPECT_EQ(result.out, row.out);
    EXPECT_EQ(result.err, row.err);
    EXPECT_EQ(text_of("log"), row.log);
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
  Child::share_console();
  for (auto const& [signal, status] : stops) {
    std::string const log = dir_ / (std::to_string(signal) + "/install.log");
    Child child = start({"demo", "--dir", std::to_string(signal), "--steps", "1000"});
    // Stopped as a user's Ctrl-C or a service manager would, once the work has begun.
    for (int i = 0; i < 600 && read_file(log).find("Installing") == std::string::npos; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    child.stop(signal);
    auto const stopped = finish(child);
    EXPECT_EQ(stopped.status, status) << stopped.err;
    EXPECT_NE(read_file(log).find(") Interrupted.\n"), std::string::npos) << read_file(log);
    EXPECT_EQ(read_file(log).find("Setup finished."), std::string::npos);
  }
}

}  // namespace
}  // namespace install::cpputil
