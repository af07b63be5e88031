// The installation log through its life: destinations set, replaced and retired, records
// written and refused; then the log on a hostile, unlucky machine (full disks, planted files,
// an unprivileged user) and under other writers, threads and processes.
#include "install/cpputil/logger.hpp"

#include <atomic>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <locale>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using logger::Logger;
using testing::read_file;
using testing::write_file;
using Bodies = std::vector<std::string>;

constexpr char const* kChannel = "install::cpputil::logger";
constexpr uid_t kNobody = 65534;

bool is_root() { return ::geteuid() == 0; }

// Each "(<time stamp>) " becomes "(T) ", so that logs and traces compare as literals.
std::string without_stamps(std::string const& text) {
  static std::regex const stamp(R"(\((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) )"
                                R"([0-3][0-9], [0-9]{4} [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\) )");
  return std::regex_replace(text, stamp, "(T) ");
}
std::string log_of(std::string const& path) { return without_stamps(read_file(path)); }
std::string last() { return logger::detail::get_last_destination().string(); }

// The bodies of a log's records. A line that is not a whole record, or a time stamp earlier
// than the one before it, fails the test (and shows as "<torn>" where a child reads the log).
Bodies bodies_of(fs::path const& path) {
  Bodies bodies;
  std::ifstream in(path);
  std::time_t previous = 0;
  for (std::string line; std::getline(in, line);) {
    std::tm parts{};
    char const* body = ::strptime(line.c_str(), "(%b %d, %Y %H:%M:%S) ", &parts);
    if (body == nullptr) {
      ADD_FAILURE() << path << ": not a record: " << line.substr(0, 60);
      bodies.emplace_back("<torn>");
      continue;
    }
    std::time_t const time = ::timegm(&parts);
    EXPECT_GE(time, previous) << path << ": " << line;
    previous = time;
    bodies.emplace_back(body);
  }
  return bodies;
}

// Bodies shortened to 12 bytes, joined by '|'.
std::string joined(Bodies const& bodies) {
  std::string text;
  for (auto const& body : bodies) {
    text += (text.empty() ? "" : "|") + body.substr(0, 12);
  }
  return text;
}

// Runs in its scratch folder, so that relative paths keep the expected texts short.
class LoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::current_path(scratch_.path());
    fs::create_directory(tmp_);
    // Unprivileged children work here too.
    fs::permissions(scratch_.path(), fs::perms::all);
    fs::permissions(tmp_, fs::perms::all);
    capture_.enable(kChannel, 12);
  }
  void TearDown() override {
    EXPECT_TRUE(logger::get_destination().empty()) << "a Logger outlived its test";
    logger::detail::forget_last_destination();
    fs::current_path(saved_);
  }
  // One "<severity> <text>" line per record.
  std::string traces() const {
    std::string lines;
    for (auto const& record : capture_.records()) {
      lines += std::to_string(record.severity) + ' ' + without_stamps(record.text) + '\n';
    }
    return lines;
  }
  // The bodies of the records that were lost and traced.
  std::string lost() const {
    Bodies bodies;
    for (auto const& text : capture_.texts(kChannel)) {
      if (text.rfind("failed to open destination_file for u8msg (", 0) == 0) {
        bodies.push_back(text.substr(text.find(") ") + 2));
      }
    }
    return joined(bodies);
  }
  std::string default_log(bool unprivileged = false) const {
    uid_t const uid = unprivileged && is_root() ? kNobody : ::geteuid();
    return tmp_ + "/zembrak_" + ::getpwuid(uid)->pw_name + ".log";
  }

  fs::path const saved_ = fs::current_path();
  testing::ScratchDir scratch_;
  std::string tmp_ = scratch_ / "tmp";
  testing::ScopedEnv tmpdir_{"TMPDIR", tmp_};  // never the real per-user log
  testing::TraceCapture capture_;
};

TEST_F(LoggerTest, DestinationsReplaceEachOtherAndDoNotStack) {
  {
    Logger const first("a.log");
    logger::append_message(std::string("to a"));
    {
      Logger const second(u"x/y/b.log");  // folders made on the way
      EXPECT_EQ(logger::get_destination().string(), "x/y/b.log");
    }
    logger::append_message(u"to default");
  }
  EXPECT_EQ(log_of("a.log"), "(T) to a\n(T) Reset destination file log a.log to x/y/b.log\n");
  EXPECT_EQ(log_of(default_log()), "(T) to default\n");
  EXPECT_EQ(
      traces(),
      "4 set destinationa.log\n4  destination_file.string()=a.log\n4  msg=to a\n4 set "
      "destinationx/y/b.log\n4  destination_file.string()=a.log ofile.string()=x/y/b.log\n"
      "4  msg=Reset destination file log a.log to x/y/b.log\n8 flush destination\n"
      "4  last_destination_file.string()=a.log\n8 unset destination\n4  destination_file."
      "string()=x/y/b.log\n8 flush destination\n4  last_destination_file.string()=x/y/b.log"
      "\n8 unset destination\n4  msg=to default\n4 no destination, keep last \"x/y/b.log\"\n");

  // The same file twice: the notice names it twice, and no lifetime truncates it.
  {
    Logger const again("a.log");
    Logger const twice(Path(u"a.log"));
    Logger const itself(logger::get_destination());  // an argument that retiring would clear
    EXPECT_EQ(logger::get_destination().string(), "a.log");
    EXPECT_EQ(last(), "a.log");
    logger::append_message(u"again");
  }
  EXPECT_EQ(log_of("a.log"),
            "(T) to a\n(T) Reset destination file log a.log to x/y/b.log\n"
            "(T) Reset destination file log a.log to a.log\n"
            "(T) Reset destination file log a.log to a.log\n(T) again\n");
  {
    Logger const other("c.log");
    Logger const back(logger::detail::get_last_destination());  // one that retiring would change
    EXPECT_EQ(logger::get_destination().string(), "a.log");
  }
}

TEST_F(LoggerTest, FailedConstructionKeepsBothPathsAndNoticesOnlyAnExistingLog) {
  write_file("blocker", "a file where a folder should be");
  { Logger const earlier("earlier.log"); }  // a last destination to keep
  // The destination, then the ends of the error and of the notice in the log in force.
  std::tuple<std::string, std::string, std::string> const cases[] = {
      {"", "open file \"\"", "file for installation log "},
      {"blocker/sub/x.log", "create directory \"blocker/sub\"",
       "folder for installation log blocker/sub"},
      {"blocker/x.log", "open file \"blocker/x.log\"", "file for installation log blocker/x.log"},
      {std::string("a.log\0/../b.log", 15), std::string("create directory \"a.log\0/..\"", 28),
       std::string("folder for installation log a.log\0/..", 37)},
  };
  for (bool const with_destination : {false, true}) {
    for (auto const& [destination, cannot, unable] : cases) {
      SCOPED_TRACE(destination + (with_destination ? " with" : " without"));
      fs::remove("current.log");
      auto const in_force = with_destination ? std::make_unique<Logger>("current.log") : nullptr;
      std::string const what = "Install Logger: Cannot " + cannot;
      std::string const notice = "Unable to create specified " + unable;
      std::string const last_before = last();
      capture_.clear();
      try {
        Logger const refused(destination);
        ADD_FAILURE() << "no exception";
      } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), what.substr(0, what.find('\0')));
      }
      EXPECT_EQ(logger::get_destination().string(), with_destination ? "current.log" : "");
      EXPECT_EQ(last(), last_before);
      EXPECT_EQ(log_of("current.log"), with_destination ? "(T) " + notice + "\n" : "");
      // Without a destination the notice is not traced, so it went nowhere.
      EXPECT_EQ(traces(), "4 set destination" + destination + "\n" +
                              (with_destination ? "4  msg=" + notice + "\n" : "") +
                              "4 set destination:" + what + "\n");
      EXPECT_FALSE(fs::exists("a.log")) << "a path holding a NUL names no folder";
    }
  }
}

// The destination holds an unpaired surrogate, which must be traced as U+FFFD rather than
// throw: in ~Logger that would end the process.
TEST_F(LoggerTest, RecordsAreStampedUtf8LinesAndBothFormsWriteTheSame) {
  Logger const l(u"bad" + ustring(1, char16_t(0xD800)) + u".log");
  std::pair<ustring, std::string> const cases[] = {
      {u"first\nsecond\n\nfourth", "(T) first\nsecond\n\nfourth\n"},
      {u"Grüß \u2713 \U0001F600", "(T) Gr\xC3\xBC\xC3\x9F \xE2\x9C\x93 \xF0\x9F\x98\x80\n"},
      {u"a" + ustring(1, char16_t(0xDC00)) + u"z", "(T) a\xEF\xBF\xBDz\n"},
      {u"", ""}};
  for (auto const& [message, record] : cases) {
    SCOPED_TRACE(record);
    fs::resize_file("bad\xEF\xBF\xBD.log", 0);
    capture_.clear();
    logger::append_message(message);
    logger::append_message(ustring_to_utf8(message));
    EXPECT_EQ(log_of("bad\xEF\xBF\xBD.log"), record + record);
    std::string const traced = "4  msg=" + ustring_to_utf8(message) + "\n";
    EXPECT_EQ(traces(), traced + traced);
  }
  EXPECT_TRUE(fs::is_empty(tmp_));
}

// Writes UTF-16 as Latin-1, and refuses a 'q'.
class Latin1 : public std::codecvt<char16_t, char, std::mbstate_t> {
 protected:
  result do_out(state_type& /*state*/, char16_t const* from, char16_t const* from_end,
                char16_t const*& from_next, char* to, char* to_end, char*& to_next) const override {
    for (; from != from_end && to != to_end; ++from, ++to) {
      if (*from == u'q') {
        throw std::range_error("no q");
      }
      *to = static_cast<char>(*from);
    }
    from_next = from;
    to_next = to;
    return from == from_end ? ok : partial;
  }
};

// The record stream converts UTF-16 pieces under its own locale, and a failing conversion
// reaches the caller before anything is recorded or written. A new thread gets a new stream.
TEST_F(LoggerTest, TracedUtf16IsConvertedByTheRecordStream) {
  Logger const l("converted.log");
  capture_.clear();
  std::thread([] {
    std::locale const saved = std::locale::global(std::locale(std::locale::classic(), new Latin1));
    logger::append_message(u"caf\u00E9");
    EXPECT_THROW(logger::append_message(u"quit"), std::range_error);
    std::locale::global(saved);
  }).join();
  EXPECT_EQ(traces(), "4  msg=caf\xE9\n");
  EXPECT_EQ(log_of("converted.log"), "(T) caf\xC3\xA9\n");
}

TEST_F(LoggerTest, AppendFileFramesTheWholeFileAsOneRecordOrRefusesBeforeWriting) {
  std::string const file = "side file.txt";
  fs::create_directory("folder");
  std::string const missing = "8 append_file: The file does not exist.\n";
  // The file's content, and the lines between the frames.
  std::pair<std::string, std::string> const copies[] = {
      {"", ""},
      {"a\nb", "a\nb\n"},
      {"a\nb\n", "a\nb\n"},
      {"\xC3\xA9\n\n\xFF\nb\n", "\xC3\xA9\n\n\xEF\xBF\xBD\nb\n"}};
  {
    Logger const l("framed.log");
    for (auto const& [content, lines] : copies) {
      SCOPED_TRACE(content);
      write_file(file, content);
      fs::resize_file("framed.log", 0);
      logger::append_file(file);
      logger::append_file(Path(utf8_to_ustring(file)));
      std::string const record =
          "(T) Content of the file " + file + "\n" + lines + "End of the file " + file + "\n";
      EXPECT_EQ(log_of("framed.log"), record + record);
    }
    write_file(file, "one\n\nthree");
    capture_.clear();
    logger::append_file(file);
    EXPECT_EQ(
        traces().rfind("4  line=one\n4  line=\n4  line=three\n4  msg=Content of the file ", 0), 0U);
  }
  // Whether a destination is set, the file to append, the error and the traces.
  std::tuple<bool, std::string, char const*, std::string> const refusals[] = {
      {false, "none", "Logger destination was not initialized.",
       "8 append_file: The output file destination is not set.\n"},
      {true, "none", "The file does not exist.", missing},
      {true, "", "The file does not exist.", missing},
      {true, "folder", "append_file: Cannot open file.", ""},
  };
  for (auto const& [destination, refused, what, traced] : refusals) {
    SCOPED_TRACE(refused);
    auto const in_force = destination ? std::make_unique<Logger>("refusals.log") : nullptr;
    fs::remove("refusals.log");
    capture_.clear();
    try {
      logger::append_file(refused);
      ADD_FAILURE() << "no exception";
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), what);
    }
    EXPECT_EQ(traces(), traced);  // no "msg=": nothing went to the default log either
    EXPECT_FALSE(fs::exists("refusals.log"));
  }
}

// Runs `body` in a child, as user nobody when asked and the test runs as root, with a watchdog
// against hangs; returns what the child wrote to its standard output.
std::string in_child(bool unprivileged, std::function<std::string()> const& body) {
  int pipe_ends[2];
  EXPECT_EQ(::pipe(pipe_ends), 0);
  pid_t const pid = ::fork();
  if (pid == 0) {
    ::close(pipe_ends[0]);
    ::alarm(20);
    if (unprivileged && is_root() &&
        (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) {
      ::_exit(3);
    }
    std::string result;
    try {
      result = body();
    } catch (std::exception const& error) {
      result = std::string("threw: ") + error.what();
    }
    ::_exit(::write(pipe_ends[1], result.data(), result.size()) ==
                    static_cast<ssize_t>(result.size())
                ? 0
                : 4);
  }
  ::close(pipe_ends[1]);
  std::string result;
  char buffer[4096];
  for (ssize_t got = 0; (got = ::read(pipe_ends[0], buffer, sizeof buffer)) > 0;) {
    result.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(pipe_ends[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
      << (WIFSIGNALED(status) ? "child killed by signal " + std::to_string(WTERMSIG(status))
                              : "child failed");
  return result;
}

struct Fault {
  char const* name;
  bool unprivileged;        // as user nobody, when the test runs as root
  bool needs_root;          // to plant another user's file
  std::string destination;  // empty: the default log
  // Done to the log's place before the child starts, and in the child once the destination
  // is set.
  std::function<void(std::string const& log, std::string const& dir)> plant;
  std::function<void(std::string const& log)> spoil;
  std::string expected;  // "<log bodies> / <lost bodies>"
};

TEST_F(LoggerTest, ARecordIsWholeOrDroppedAndTraced) {
  auto const nothing = [](std::string const&, std::string const&) {};
  auto const intact = [](std::string const&) {};
  auto const link_to_victim = [](bool hard) {
    return [hard](std::string const& log, std::string const& dir) {
      write_file(dir + "/victim", "");
      hard ? fs::create_hard_link(dir + "/victim", log) : fs::create_symlink(dir + "/victim", log);
    };
  };
  std::string const all_lost = " / small|xxxxxxxxxxxx|after";
  Fault const faults[] = {
      {"file-size limit", false, false, "limited.log", nothing,
       [](auto const&) {
         std::signal(SIGXFSZ, SIG_IGN);
         rlimit const limit{4096, RLIM_INFINITY};
         ::setrlimit(RLIMIT_FSIZE, &limit);
       },
       "small|after / xxxxxxxxxxxx"},
      {"full device", false, false, "/dev/full", nothing, intact, all_lost},
      {"log made read-only", true, false, "read-only.log", nothing,
       [](auto const& log) { fs::permissions(log, fs::perms::owner_read); }, all_lost},
      {"folder removed", false, false, "gone/x.log", nothing,
       [](auto const& log) { fs::remove_all(fs::path(log).parent_path()); }, all_lost},
      {"own default log, extended", false, false, "",
       [](auto const& log, auto const&) { write_file(log, "(Jan 01, 2026 00:00:00) kept\n"); },
       intact, "kept|small|xxxxxxxxxxxx|after / "},
      {"FIFO at the default log", false, false, "",
       [](auto const& log, auto const&) { ::mkfifo(log.c_str(), 0666); }, intact, all_lost},
      {"another user's file at the default log", false, true, "",
       [](auto const& log, auto const&) {
         write_file(log, "");
         EXPECT_EQ(::chown(log.c_str(), kNobody, kNobody), 0);
       },
       intact, all_lost},
      {"symbolic link at the default log", false, false, "", link_to_victim(false), intact,
       all_lost},
      {"hard link at the default log", false, false, "", link_to_victim(true), intact, all_lost},
      {"missing temporary folder", false, false, "",
       [](auto const&, auto const& dir) { ::setenv("TMPDIR", (dir + "/missing").c_str(), 1); },
       intact, all_lost},
  };
  for (auto const& fault : faults) {
    SCOPED_TRACE(fault.name);
    if (fault.needs_root && !is_root()) {
      continue;
    }
    std::string const log = fault.destination.empty()     ? default_log(fault.unprivileged)
                            : fault.destination[0] == '/' ? fault.destination
                                                          : scratch_ / fault.destination;
    fs::create_directories(fs::path(log).parent_path());
    fault.plant(log, scratch_.path());
    std::string const outcome = in_child(fault.unprivileged, [&] {
      capture_.clear();
      std::unique_ptr<Logger> destination;
      if (!fault.destination.empty()) {
        destination = std::make_unique<Logger>(log);
      }
      fault.spoil(log);
      for (std::string const& message :
           {std::string("small"), std::string(10000, 'x'), std::string("after")}) {
        logger::append_message(message);
      }
      std::error_code ignored;  // so the child can read back what it wrote
      fs::permissions(log, fs::perms::owner_read, fs::perm_options::add, ignored);
      return joined(fs::is_regular_file(log) ? bodies_of(log) : Bodies{}) + " / " + lost();
    });
    EXPECT_EQ(outcome, fault.expected);
    EXPECT_EQ(read_file(scratch_ / "victim"), "");
    EXPECT_FALSE(fs::exists(scratch_ / "missing"));
    if (log.rfind(scratch_.path().string(), 0) == 0) {
      fs::remove(log);  // never a device outside the test's own folder
    }
    fs::remove(scratch_ / "victim");
    ::setenv("TMPDIR", tmp_.c_str(), 1);
  }
}

TEST_F(LoggerTest, FoldersWithoutWritePermissionNameNoDestination) {
  fs::create_directory("locked");
  fs::permissions("locked", fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read |
                                fs::perms::others_exec);
  std::string const outcome = in_child(true, [] {
    std::string refused;
    for (char const* destination : {"locked/sub/x.log", "locked/x.log"}) {
      try {
        Logger const l(destination);
      } catch (std::runtime_error const& error) {
        refused += error.what();
      }
    }
    return refused;
  });
  EXPECT_EQ(outcome,
            "Install Logger: Cannot create directory \"locked/sub\""
            "Install Logger: Cannot open file \"locked/x.log\"");
}

// Processes that append to one log at once, across at least one change of the second: every
// record whole, each process's records in its own order, and stamps never back along the file.
TEST_F(LoggerTest, ProcessesAppendingOneLogKeepStampsInOrder) {
  constexpr int kProcesses = 4;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(::fork());
    if (children.back() == 0) {
      Logger const l("shared.log");
      std::time_t const start = std::time(nullptr);
      for (int i = 0; i < 400 || std::time(nullptr) < start + 2; ++i) {
        logger::append_message(std::to_string(p) + " " + std::to_string(i));
      }
      ::_exit(0);
    }
  }
  for (pid_t const child : children) {
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  std::map<int, int> next;  // each process's next number
  for (auto const& body : bodies_of("shared.log")) {
    if (body.rfind("Reset", 0) != 0) {
      int const process = std::stoi(body);
      EXPECT_EQ(std::stoi(body.substr(body.find(' '))), next[process]++) << body;
    }
  }
  EXPECT_EQ(next.size(), std::size_t{kProcesses});
}

// Writers append while another thread keeps replacing the destination, and now and then ends
// every Logger so that records fall back to the default log. No record may be lost, doubled
// or torn.
TEST_F(LoggerTest, ConcurrentAppendsWhileTheDestinationChanges) {
  constexpr int kWriters = 4;
  constexpr int kMessages = 2000;
  auto const message = [](int n) { return "message " + std::to_string(n) + std::string(48, '.'); };
  capture_.enable(kChannel, 4);

  std::vector<std::unique_ptr<Logger>> alive;
  std::atomic<int> writing{kWriters};
  std::thread replacer([&] {
    for (int k = 0; writing.load() > 0; ++k) {
      if (k % 5 == 4) {
        alive.clear();  // the first ends the destination, the others find none
      } else {
        alive.push_back(std::make_unique<Logger>("log" + std::to_string(k % 16)));
      }
      std::this_thread::yield();
    }
  });
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([&, w] {
      for (int i = 0; i < kMessages; ++i) {
        logger::append_message(message(w * kMessages + i));
      }
      --writing;
    });
  }
  for (auto& writer : writers) {
    writer.join();
  }
  replacer.join();
  alive.clear();

  std::map<std::string, int> seen;  // each body, with how often it was found
  std::set<fs::path> files_with_messages;
  for (auto const& entry : fs::recursive_directory_iterator(scratch_.path())) {
    for (auto const& body : entry.is_regular_file() ? bodies_of(entry.path()) : Bodies{}) {
      if (body.rfind("Reset destination file log ", 0) != 0) {
        ++seen[body];
        files_with_messages.insert(entry.path());
      }
    }
  }
  for (int n = 0; n < kWriters * kMessages; ++n) {
    ASSERT_EQ(seen[message(n)], 1) << message(n);
  }
  EXPECT_EQ(seen.size(), std::size_t{kWriters * kMessages}) << "torn records";
  EXPECT_EQ(lost(), "");
  EXPECT_GT(files_with_messages.size(), 1U);
}

}  // namespace
}  // namespace install::cpputil
