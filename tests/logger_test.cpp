// The installation log: destinations set, replaced and refused; records written whole or
// dropped on a hostile machine; and other writers, threads and processes.
#include "install/cpputil/logger.hpp"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <locale>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using logger::Logger;
using testing::native_separators;
using testing::read_file;
using testing::write_file;
using Bodies = std::vector<std::string>;

constexpr char const* kChannel = "install::cpputil::logger";

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
  std::ifstream in(path, std::ios::binary);
  std::tuple<int, int, int, int, int, int> previous{};
  for (std::string line; std::getline(in, line);) {
    std::tm parts{};
    std::istringstream record(line);
    record.imbue(std::locale::classic());
    if (!(record >> std::get_time(&parts, "(%b %d, %Y %H:%M:%S) "))) {
      ADD_FAILURE() << path << ": not a record: " << line.substr(0, 60);
      bodies.emplace_back("<torn>");
      continue;
    }
    auto const time = std::tuple(parts.tm_year, parts.tm_mon, parts.tm_mday, parts.tm_hour,
                                 parts.tm_min, parts.tm_sec);
    EXPECT_GE(time, previous) << path << ": " << line;
    previous = time;
    bodies.emplace_back(line.substr(static_cast<std::size_t>(record.tellg())));
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
  std::string default_log() const { return tmp_ + "/zembrak_" + testing::user_name() + ".log"; }

  fs::path const saved_ = fs::current_path();
  testing::ScratchDir scratch_;
  std::string tmp_ = scratch_ / "tmp";
  testing::ScopedEnv tmpdir_{testing::kTempVariable, tmp_};  // never the real per-user log
  testing::TraceCapture capture_;
};

TEST_F(LoggerTest, DestinationsReplaceEachOtherAndDoNotStack) {
  {
    Logger const first("a.log");
    logger::append_message(std::string("to a"));
    {
      Logger const second(u"x/y/b.log");  // folders made on the way
      EXPECT_EQ(logger::get_destination().string(), native_separators("x/y/b.log"));
    }
    logger::append_message(u"to default");
  }
  EXPECT_EQ(log_of("a.log"),
            native_separators("(T) to a\n(T) Reset destination file log a.log to x/y/b.log\n"));
  EXPECT_EQ(log_of(default_log()), "(T) to default\n");
  EXPECT_EQ(
      traces(),
      native_separators(
          "4 set destinationa.log\n4  destination_file.string()=a.log\n4  msg=to a\n4 set "
          "destinationx/y/b.log\n4  destination_file.string()=a.log ofile.string()=x/y/b.log\n"
          "4  msg=Reset destination file log a.log to x/y/b.log\n8 flush destination\n"
          "4  last_destination_file.string()=a.log\n8 unset destination\n4  destination_file."
          "string()=x/y/b.log\n8 flush destination\n4  last_destination_file.string()=x/y/b.log"
          "\n8 unset destination\n4  msg=to default\n4 no destination, keep last \"x/y/b.log\"\n"));

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
            native_separators("(T) to a\n(T) Reset destination file log a.log to x/y/b.log\n"
                              "(T) Reset destination file log a.log to a.log\n"
                              "(T) Reset destination file log a.log to a.log\n(T) again\n"));
  {
    Logger const other("c.log");
    Logger const back(logger::detail::get_last_destination());  // one that retiring would change
    EXPECT_EQ(logger::get_destination().string(), "a.log");
  }
}

TEST_F(LoggerTest, FailedConstructionKeepsBothPathsAndNoticesOnlyAnExistingLog) {
  write_file("blocker", "a file where a folder should be");
  fs::create_directory("folder");
  { Logger const earlier("earlier.log"); }                       // a last destination to keep
  std::string const long_name = std::string(300, 'n') + ".log";  // beyond any name's limit
#if defined(_WIN32)
  char drive = 'Z';  // one that is not there
  while (drive > 'D' && ((::GetLogicalDrives() >> (drive - 'A')) & 1U) != 0) {
    --drive;
  }
  std::string const missing = std::string(1, drive) + ":\\logs";
#endif
  // The destination, then the ends of the error and of the notice in the log in force.
  std::tuple<std::string, std::string, std::string> const cases[] = {
    {"", "open file \"\"", "file for installation log "},
    {"blocker/sub/x.log", "create directory \"blocker/sub\"",
     "folder for installation log blocker/sub"},
    {"blocker/x.log", "open file \"blocker/x.log\"", "file for installation log blocker/x.log"},
    {std::string("a.log\0/../b.log", 15), std::string("create directory \"a.log\0/..\"", 28),
     std::string("folder for installation log a.log\0/..", 37)},
    {"folder", "open file \"folder\"", "file for installation log folder"},
    {long_name, "open file \"" + long_name + "\"", "file for installation log " + long_name},
#if defined(_WIN32)
    {missing + "\\x.log", "create directory \"" + missing + "\"",
     "folder for installation log " + missing},
#endif
  };
  for (bool const with_destination : {false, true}) {
    for (auto const& [destination, cannot, unable] : cases) {
      SCOPED_TRACE(destination + (with_destination ? " with" : " without"));
      fs::remove("current.log");
      auto const in_force = with_destination ? std::make_unique<Logger>("current.log") : nullptr;
      std::string const what = native_separators("Install Logger: Cannot " + cannot);
      std::string const notice = native_separators("Unable to create specified " + unable);
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
      EXPECT_EQ(traces(), "4 set destination" + native_separators(destination) + "\n" +
                              (with_destination ? "4  msg=" + notice + "\n" : "") +
                              "4 set destination:" + what + "\n");
      EXPECT_FALSE(fs::exists("a.log")) << "a path holding a NUL names no folder";
    }
  }
}

#if defined(_WIN32)
// Run by its own CTest entry under a file-size limit of 4 KiB, which Wine's host sets: a write
// cut short is taken back, so the record is dropped whole and traced.
TEST_F(LoggerTest, RecordCutShortIsTakenBack) {
  if (std::getenv("CPPUTIL_TEST_FILE_SIZE_LIMIT") == nullptr) {  // NOLINT(concurrency-mt-unsafe)
    GTEST_SKIP() << "needs a file-size limit of 4 KiB";
  }
  {
    Logger const l("limited.log");
    for (std::string const& message :
         {std::string("small"), std::string(10000, 'x'), std::string("after")}) {
      logger::append_message(message);
    }
  }
  EXPECT_EQ(joined(bodies_of("limited.log")) + " / " + lost(), "small|after / xxxxxxxxxxxx");
}
#endif

// The destination holds an unpaired surrogate, which must be traced as U+FFFD rather than
// throw: in ~Logger that would end the process. Wine names no file so (see above).
TEST_F(LoggerTest, RecordsAreStampedUtf8Lines) {
#if defined(_WIN32)
  Logger const l(ustring(u"bad\uFFFD.log"));
#else
  Logger const l(u"bad" + ustring(1, char16_t(0xD800)) + u".log");
#endif
  std::pair<ustring, std::string> const cases[] = {
      {u"first\nsecond\n\nfourth", "(T) first\nsecond\n\nfourth\n"},
      {u"Grüß \u2713 \U0001F600", "(T) Gr\xC3\xBC\xC3\x9F \xE2\x9C\x93 \xF0\x9F\x98\x80\n"},
      {u"a" + ustring(1, char16_t(0xDC00)) + u"z", "(T) a\xEF\xBF\xBDz\n"},
      {u"", ""}};
  for (auto const& [message, record] : cases) {
    SCOPED_TRACE(record);
    fs::resize_file(testing::fs_path("bad\xEF\xBF\xBD.log"), 0);
    capture_.clear();
    logger::append_message(message);
    EXPECT_EQ(log_of("bad\xEF\xBF\xBD.log"), record);
    EXPECT_EQ(traces(), "4  msg=" + ustring_to_utf8(message) + "\n");
  }
  EXPECT_TRUE(fs::is_empty(tmp_));
}

#if defined(_WIN32)
// Windows' own odd destinations: devices, and a name with an unpaired surrogate, which NTFS
// takes and Wine cannot map. Each is taken or refused with the usual error; none hangs.
TEST_F(LoggerTest, DevicesAndIllFormedNamesNeitherCrashNorHang) {
  {
    Logger const device(std::string("NUL"));
    logger::append_message(u"into nothing");
  }
  for (ustring const& name : {ustring(u"CON"), u"bad" + ustring(1, char16_t(0xD800)) + u".log"}) {
    try {
      Logger const l(name);
      logger::append_message(u"somewhere");
    } catch (std::runtime_error const& error) {
      EXPECT_EQ(error.what(), "Install Logger: Cannot open file \"" + to_string(name) + "\"");
    }
  }
}
#endif

// Writes UTF-16 as Latin-1, and refuses a 'q'.
class Latin1 : public std::codecvt<char16_t, char, std::mbstate_t> {
 protected:
  result do_out(state_type& /*state*/, char16_t const* from, char16_t const* from_end,
                char16_t const*& from_next, char* to, char* to_end, char*& to_next) const override {
    for (; from != from_end && to != to_end; ++from, ++to) {
      *to = *from == u'q' ? throw std::range_error("no q") : static_cast<char>(*from);
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
      {"\xC2\xA9\xC3\xA9\n\n\xFF\nb\n", "\xC2\xA9\xC3\xA9\n\n\xEF\xBF\xBD\nb\n"}};
  {
    Logger const l("framed.log");
    for (auto const& [content, lines] : copies) {
      SCOPED_TRACE(content);
      write_file(file, content);
      fs::resize_file("framed.log", 0);
      logger::append_file(Path(utf8_to_ustring(file)));
      EXPECT_EQ(log_of("framed.log"), "(T) Content of the file " + file + "\n" + lines +
                                          "End of the file " + file + "\n");
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

constexpr int kNobody = 65534;

struct Fault {
  char const* name;
  int uid;                  // -1: as this process
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
  std::vector<std::string> unplanted;  // symbolic links, where the system makes none
  auto const link_to_victim = [&unplanted](bool hard) {
    return [hard, &unplanted](std::string const& log, std::string const& dir) {
      write_file(dir + "/victim", "");
      if (hard) {
        fs::create_hard_link(dir + "/victim", log);
      } else if (!testing::make_symlink(dir + "/victim", log)) {
        unplanted.push_back(log);
      }
    };
  };
  std::string const all_lost = " / small|xxxxxxxxxxxx|after";
  Fault const faults[] = {
// Windows has no such limit, /dev/full, FIFO, owner to give away or closed standard input, and
// Wine run as root writes read-only files.
#if !defined(_WIN32)
    {"file-size limit", -1, false, "limited.log", nothing,
     [](auto const&) {
       std::signal(SIGXFSZ, SIG_IGN);
       rlimit const limit{4096, RLIM_INFINITY};
       ::setrlimit(RLIMIT_FSIZE, &limit);
     },
     "small|after / xxxxxxxxxxxx"},
    {"full device", -1, false, "/dev/full", nothing, intact, all_lost},
    {"FIFO at the default log", -1, false, "",
     [](auto const& log, auto const&) { ::mkfifo(log.c_str(), 0666); }, intact, all_lost},
    {"another user's file at the default log", -1, true, "",
     [](auto const& log, auto const&) {
       write_file(log, "");
       EXPECT_EQ(::chown(log.c_str(), kNobody, kNobody), 0);
     },
     intact, all_lost},
    {"log made read-only", kNobody, false, "read-only.log", nothing,
     [](auto const& log) { fs::permissions(log, fs::perms::owner_read); }, all_lost},
    {"standard input closed: the log gets descriptor 0", -1, false, "", nothing,
     [](auto const&) { ::close(0); }, "small|xxxxxxxxxxxx|after / "},
#endif
    {"folder removed", -1, false, "gone/x.log", nothing,
     [](auto const& log) { fs::remove_all(testing::fs_path(log).parent_path()); }, all_lost},
    {"own default log, extended", -1, false, "",
     [](auto const& log, auto const&) { write_file(log, "(Jan 01, 2026 00:00:00) kept\n"); },
     intact, "kept|small|xxxxxxxxxxxx|after / "},
    {"symbolic link at the default log", -1, false, "", link_to_victim(false), intact, all_lost},
    {"hard link at the default log", -1, false, "", link_to_victim(true), intact, all_lost},
    {"missing temporary folder", -1, false, "",
     [](auto const&, auto const& dir) {
       testing::set_env(testing::kTempVariable, dir + "/missing");
     },
     intact, all_lost},
  };
  for (auto const& fault : faults) {
    SCOPED_TRACE(fault.name);
    if (fault.needs_root && testing::permissions_bind()) {
      continue;
    }
    // Relative: an unprivileged child may not pass the folders above the scratch folder.
    std::string const log = fault.destination.empty() ? default_log() : fault.destination;
    fs::create_directories(fs::absolute(testing::fs_path(log)).parent_path());
    fault.plant(log, scratch_.path().u8string());
    if (!unplanted.empty() && unplanted.back() == log) {
      continue;
    }
    std::string const outcome = testing::in_child(
        [&] {
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
        },
        fault.uid);
    EXPECT_EQ(outcome, fault.expected);
    EXPECT_EQ(read_file(scratch_ / "victim"), "");
    EXPECT_FALSE(fs::exists(scratch_ / "missing"));
    if (log[0] != '/' || log.rfind(scratch_.path().u8string(), 0) == 0) {  // never a device
      std::error_code ignored;  // Windows removes no read-only file
      fs::permissions(log, fs::perms::owner_write, fs::perm_options::add, ignored);
      fs::remove(log);
    }
    fs::remove(scratch_ / "victim");
    testing::set_env(testing::kTempVariable, tmp_);
  }
  if (!unplanted.empty()) {
    GTEST_SKIP() << "no symbolic links here (Wine, or Windows without the privilege)";
  }
}

#if !defined(_WIN32)  // Windows folders have no write bit, and has no fork
TEST_F(LoggerTest, FoldersWithoutWritePermissionNameNoDestination) {
  fs::create_directory("locked");
  fs::permissions("locked", fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read |
                                fs::perms::others_exec);
  std::string const outcome = testing::in_child(
      [] {
        std::string refused;
        for (char const* destination : {"locked/sub/x.log", "locked/x.log"}) {
          try {
            Logger const l(destination);
          } catch (std::runtime_error const& error) {
            refused += error.what();
          }
        }
        return refused;
      },
      kNobody);
  EXPECT_EQ(outcome,
            "Install Logger: Cannot create directory \"locked/sub\""
            "Install Logger: Cannot open file \"locked/x.log\"");
}

// Every appender takes the log's lock, across processes: while another holds it, nothing is
// written; once it is let go, each waiting record is.
TEST_F(LoggerTest, ProcessesWaitForTheLogsLock) {
  write_file("shared.log", "");
  int const held = ::open("shared.log", O_RDONLY);  // NOLINT(cppcoreguidelines-pro-type-vararg)
  ASSERT_EQ(::flock(held, LOCK_EX), 0);
  std::vector<pid_t> children;
  for (char const* message : {"one", "two"}) {
    if (pid_t const pid = ::fork(); pid != 0) {
      children.push_back(pid);
      continue;
    }
    ::close(held);  // the lock belongs to the parent's descriptor, which a child shares
    Logger const log{std::string("shared.log")};
    logger::append_message(std::string(message));
    ::_exit(0);
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // the children wait by then
  EXPECT_EQ(read_file("shared.log"), "");
  ::close(held);
  for (pid_t const child : children) {
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  Bodies bodies = bodies_of("shared.log");
  std::sort(bodies.begin(), bodies.end());
  EXPECT_EQ(joined(bodies), "one|two");
}

// Processes appending to one log at once, across a change of the second: every record whole,
// each process's records in order, and stamps never back along the file.
TEST_F(LoggerTest, ProcessesAppendingOneLogKeepStampsInOrder) {
  std::vector<pid_t> children;
  for (int p = 0; p < 4; ++p) {
    if (pid_t const pid = ::fork(); pid != 0) {
      children.push_back(pid);
      continue;
    }
    Logger const l(std::string("ordered.log"));
    for (std::time_t const start = std::time(nullptr); std::time(nullptr) < start + 2;) {
      logger::append_message(std::to_string(p));
    }
    ::_exit(0);
  }
  for (pid_t const child : children) {
    ::waitpid(child, nullptr, 0);
  }
  Bodies const bodies = bodies_of("ordered.log");
  EXPECT_EQ(std::set<std::string>(bodies.begin(), bodies.end()).size(), 4U);
}
#endif

// Threads append while another keeps replacing the destination and now and then ends every
// Logger, so that records fall back to the default log: none lost, doubled or torn.
TEST_F(LoggerTest, ThreadsAppendWhileTheDestinationChanges) {
  constexpr int kWriters = 4;
  constexpr int kMessages = 2000;
  std::atomic<int> writing{kWriters};
  std::thread replacer([&writing] {
    std::vector<std::unique_ptr<Logger>> alive;
    for (int k = 0; writing.load() > 0; ++k) {
      if (k % 5 == 4) {
        alive.clear();
      } else {
        alive.push_back(std::make_unique<Logger>("log" + std::to_string(k % 16)));
      }
    }
  });
  std::vector<std::thread> writers;
  std::multiset<std::string> expected;
  for (int w = 0; w < kWriters; ++w) {
    for (int i = 0; i < kMessages; ++i) {
      expected.insert(std::to_string(w * kMessages + i) + std::string(48, '.'));
    }
    writers.emplace_back([&writing, w] {
      for (int i = 0; i < kMessages; ++i) {
        logger::append_message(std::to_string(w * kMessages + i) + std::string(48, '.'));
      }
      --writing;
    });
  }
  for (auto& writer : writers) {
    writer.join();
  }
  replacer.join();
  std::multiset<std::string> seen;
  for (auto const& entry : fs::recursive_directory_iterator(scratch_.path())) {
    for (auto const& body : entry.is_regular_file() ? bodies_of(entry.path()) : Bodies{}) {
      if (body.rfind("Reset destination file log ", 0) != 0) {
        seen.insert(body);
      }
    }
  }
  EXPECT_TRUE(seen == expected) << "lost, doubled or torn records";
  EXPECT_EQ(lost(), "");
}

}  // namespace
}  // namespace install::cpputil
