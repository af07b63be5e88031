// install-cpputil run as a process: outputs, exit statuses and the logs it writes.
#include <chrono>
#include <regex>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/Scratch.hpp"

namespace install::cpputil {
namespace {

using testing::ScratchDir;

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

class Tool : public ::testing::Test {
 protected:
  // Starts the tool with `args`; its output goes to files in the scratch folder.
  pid_t start(std::vector<std::string> const& args) {
    std::vector<std::string> argv{INSTALL_CPPUTIL_TOOL};
    argv.insert(argv.end(), args.begin(), args.end());
    pid_t const pid = ::fork();
    if (pid == 0) {
      int const out = ::open((dir_ / "stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      int const err = ::open((dir_ / "stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      ::dup2(out, 1);
      ::dup2(err, 2);
      ::setenv("TMPDIR", dir_.path().c_str(), 1);  // never the real default log
      std::vector<char*> raw;
      for (auto& arg : argv) {
        raw.push_back(arg.data());
      }
      raw.push_back(nullptr);
      ::execv(raw[0], raw.data());
      ::_exit(127);
    }
    return pid;
  }

  Result finish(pid_t pid) {
    int status = 0;
    ::waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
            testing::read_file(dir_ / "stdout"), testing::read_file(dir_ / "stderr")};
  }

  Result run(std::vector<std::string> const& args) { return finish(start(args)); }

  std::string file(std::string const& name, std::string const& content) {
    testing::write_file(dir_ / name, content);
    return dir_ / name;
  }

  ScratchDir dir_;
};

std::regex const kRecord(
    R"(\((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) \d\d, \d{4} \d\d:\d\d:\d\d\) )");

TEST_F(Tool, ParsePrintsSettingsAndListEntriesInMapOrder) {
  auto const input = file("in.txt",
                          "# comment\r\nName = Value\r\nproduct.Alpha_Tools\nproduct.Beta\n"
                          "caf\xC3\xA9 = cr\xC3\xA8me\n");
  auto const result = run({"parse", input});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            "caf\xC3\xA9 = cr\xC3\xA8me\nname = Value\nproduct[] = Alpha Tools\n"
            "product[] = Beta\n");
}

TEST_F(Tool, ParseJsonReadsBackAsTheSameMap) {
  auto const input = file("in.txt", "a = 1\nplatform.x_y\nplatform.z\nb = \xE2\x82\xAC\n");
  auto const result = run({"parse", input, "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out),
            nlohmann::json({{"a", "1"}, {"b", "\xE2\x82\xAC"}, {"platform", {"x y", "z"}}}));
}

TEST_F(Tool, CheckReportsEveryViolation) {
  auto const input = file("in.txt", "port = abc\nmode = fast\nreboot = yes\nother = x\n");
  auto const rules =
      file("rules.txt", "port = intval\nmode = strval:typical,custom\nreboot = boolval\n");
  auto const result = run({"check", input, "--rules", rules});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "key='mode' value='fast' rule='strval:typical,custom'\n"
            "key='port' value='abc' rule='intval'\n");

  auto const good = file("good.txt", "port = 80\nmode = custom\n");
  EXPECT_EQ(run({"check", good, "--rules", rules}).status, 0);
}

TEST_F(Tool, CheckWritesFailedFileRulesIntoTheGivenLog) {
  auto const input = file("in.txt", "license = " + (dir_ / "missing.txt") + "\n");
  auto const rules = file("rules.txt", "license = rfile\n");
  auto const result = run({"check", input, "--rules", rules, "--log", dir_ / "check.log"});
  EXPECT_EQ(result.status, 1);
  std::string const log = testing::read_file(dir_ / "check.log");
  EXPECT_NE(log.find(") Error reading file " + (dir_ / "missing.txt") + "\n"), std::string::npos);
  EXPECT_NE(log.find("' does not exist or it's empty\n"), std::string::npos);
}

TEST_F(Tool, CompareAndItsErrors) {
  struct Case {
    char const* a;
    char const* b;
    int status;
    char const* out;
  };
  Case const cases[] = {
      {"10.2.0.1", "10.2.1", 0, "-1\n"}, {"1.10", "1.9", 0, "1\n"}, {"1.2", "1.2.0", 0, "0\n"},
      {"1..2", "1.0.2", 2, ""},          {"1.0", "1.x", 2, ""},     {"1.99999999999", "1", 2, ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(std::string(c.a) + " " + c.b);
    auto const result = run({"compare", c.a, c.b});
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.out, c.out);
    if (c.status != 0) {
      std::string const culprit = std::string(c.b).find('x') != std::string::npos ? c.b : c.a;
      EXPECT_EQ(result.err, "install-cpputil: not a version number: '" + culprit + "'\n");
    }
  }
}

TEST_F(Tool, UsageAndInputErrorsAreOneLineWithStatusTwo) {
  auto const missing = run({"parse", dir_ / "none.txt"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err,
            "install-cpputil: " + (dir_ / "none.txt") + ": input file does not exist!\n");
  EXPECT_EQ(run({"--trace", "lots", "locale"}).status, 2);
  EXPECT_EQ(run({"frobnicate"}).status, 2);
  EXPECT_EQ(run({"compare", "1"}).status, 2);
  EXPECT_EQ(run({"log", "--to", "", "x"}).status, 2);
  auto const help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("demo"), std::string::npos);
  EXPECT_EQ(run({"--version"}).out, "install-cpputil 1.0.0\n");
}

TEST_F(Tool, SandboxAndLocale) {
  std::filesystem::create_directories(dir_.path() / "product/root");
  EXPECT_EQ(run({"sandbox", "--root", dir_ / "product/root"}).out, "false\n");
  testing::write_file(dir_.path() / "product/qx_anchor", "");
  EXPECT_EQ(run({"sandbox", "--root", dir_ / "product/root"}).out, "true\n");
  EXPECT_EQ(run({"locale"}).status, 0);
}

TEST_F(Tool, LogAppendsRecordsInTheLibrarysFormat) {
  auto const side = file("side.txt", "line one\nline two");
  auto const result =
      run({"log", "--to", dir_ / "logs/install.log", "--file", side, "first", "second"});
  ASSERT_EQ(result.status, 0) << result.err;
  std::string const log = testing::read_file(dir_ / "logs/install.log");
  std::string const expected = "first\n" + std::string("<stamp>second\n") +
                               "<stamp>Content of the file " + side +
                               "\nline one\nline two\nEnd of the file " + side + "\n";
  EXPECT_EQ(
      std::regex_replace(std::regex_replace(log, kRecord, "<stamp>"), std::regex("^<stamp>"), ""),
      expected);

  auto const refused = run({"log", "--to", dir_ / "install.log", "--file", dir_ / "none"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("The file does not exist."), std::string::npos);
}

TEST_F(Tool, DemoRunsToCompletion) {
  auto const result = run({"demo", "--dir", dir_ / "demo", "--steps", "1", "--step-ms", "0"});
  ASSERT_EQ(result.status, 0) << result.err;
  std::string const log = testing::read_file(dir_ / "demo/install.log");
  EXPECT_NE(log.find(") Setup begun.\n"), std::string::npos);
  EXPECT_NE(log.find("End of the file "), std::string::npos);
  EXPECT_NE(log.find(") Setup finished.\n"), std::string::npos);
  EXPECT_NE(result.out.find("Installation log: " + (dir_ / "demo/install.log")), std::string::npos);
}

TEST_F(Tool, DemoInterruptedBySigintRecordsInterrupted) {
  pid_t const pid = start({"demo", "--dir", dir_ / "demo", "--steps", "1000", "--step-ms", "50"});
  // Wait until the work has begun, then cancel as a user's Ctrl-C would.
  for (int i = 0; i < 600; ++i) {
    if (testing::read_file(dir_ / "demo/install.log").find("Installing") != std::string::npos) {
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  ::kill(pid, SIGINT);
  auto const result = finish(pid);
  EXPECT_EQ(result.status, 130) << result.err;
  std::string const log = testing::read_file(dir_ / "demo/install.log");
  EXPECT_NE(log.find(") Interrupted.\n"), std::string::npos) << log;
  EXPECT_EQ(log.find("Setup finished."), std::string::npos);
}

}  // namespace
}  // namespace install::cpputil
