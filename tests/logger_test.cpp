// The installation log: destinations set, replaced and refused; records written whole or
// dropped on a hostile machine; and threads appending at once. (Processes appending at once
// are the tool's test.)
#include "install/cpputil/logger.hpp"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <ctime>
#include <fstream>
#include <functional>
#include <iomanip>
#include <locale>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <gtest/gtest.h>

#include "install/cpputil/diagnostics.hpp"

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using logger::Logger;
using testing::read_file;
using testing::write_file;
using namespace std::string_literals;

// Each "(<time stamp>) " becomes "(T) ", and each '\' a '/'.
std::string plain(std::string text) {
  static std::regex const stamp(R"(\([A-Z][a-z][a-z] \d\d, \d{4} \d\d:\d\d:\d\d\) )");
  std::replace(text.begin(), text.end(), '\\', '/');
  return std::regex_replace(text, stamp, "(T) ");
}
std::string log_of(std::string const& path) { return plain(read_file(path)); }

// The records of a log, each cut to 12 bytes, joined by '|'. A line that is not a whole
// record, or a time stamp earlier than the one before it, fails the test (and shows as
// "<torn>" where a child reads the log).
std::string bodies_of(fs::path const& path) {
  std::string bodies;
  std::ifstream in(path, std::ios::binary);
  std::tm previous{};
  for (std::string line; std::getline(in, line);) {
    std::tm time{};
    std::istringstream record(line);
    record.imbue(std::locale::classic());
    bodies += bodies.empty() ? "" : "|";
    if (!(record >> std::get_time(&time, "(%b %d, %Y %H:%M:%S) "))) {
      ADD_FAILURE() << path << ": not a record: " << line.substr(0, 60);
      bodies += "<torn>";
      continue;
    }
    EXPECT_GE(std::mktime(&time), std::mktime(&previous)) << path << ": " << line;
    previous = time;
    bodies += line.substr(static_cast<std::size_t>(record.tellg()), 12);
  }
  return bodies;
}

// In a scratch folder, which is also the temporary folder: relative paths keep the expected
// texts short, and the real per-user log is never touched.
class LoggerTest : public ::testing::Test {
 protected:
  LoggerTest() {
    fs::current_path(scratch_.path());
    fs::permissions(scratch_.path(), fs::perms::all);  // unprivileged children work here too
    logger::append_message(u"probe");  // the default log: its name is the tool test's affair
    default_log_ = fs::directory_iterator(".")->path().filename().u8string();
    fs::remove(default_log_);
    capture_.take();
  }
  ~LoggerTest() override {
    logger::detail::forget_last_destination();
    fs::current_path(saved_);
  }
  std::string traces() { return plain(capture_.take()); }
  // The bodies of the records that were lost, and traced; the logs written without the lock.
  std::string lost() {
    std::string bodies;
    std::istringstream traced(capture_.take());
    std::string const unlocked = "8 log file lock not had, written without it: ";
    for (std::string line; std::getline(traced, line);) {
      if (line.rfind("4 failed to open destination_file for u8msg (", 0) == 0) {
        bodies += (bodies.empty() ? "" : "|") + line.substr(line.find(") ") + 2, 12);
      } else if (line.rfind(unlocked, 0) == 0) {
        bodies += (bodies.empty() ? "unlocked " : "|unlocked ") + line.substr(unlocked.size());
      }
    }
    return bodies;
  }

  fs::path const saved_ = fs::current_path();
  testing::ScratchDir scratch_;
  testing::ScopedEnv tmpdir_{testing::kTempVariable, scratch_.path().u8string()};
  std::string default_log_;
  testing::TraceCapture capture_{"install::cpputil::logger", 4 | 8};
};

// What a Logger for the destination threw, or "made".
std::string refused(std::string const& destination) {
  try {
    Logger const log(destination);
  } catch (std::runtime_error const& error) {
    return plain(error.what());
  }
  return "made";
}

// Destinations set, refused with a notice in the log in force, replaced and retired; records
// stamped UTF-8 lines, and the default log while no destination is set.
TEST_F(LoggerTest, DestinationsAndRecordsThroughALifecycle) {
  write_file("blocker", "a file where a folder should be");
  {
    Logger const first("a.log");
    for (ustring const& message : {u"first\n" + ustring(1, char16_t(0xD800)) + u"second",
                                   ustring(u"Gr\u00FC\u00DF \U0001F600"), ustring()}) {
      logger::append_message(message);
    }
    EXPECT_EQ(refused("blocker/sub/x.log"),
              "Install Logger: Cannot create directory \"blocker/sub\"");
    EXPECT_EQ(refused(""), "Install Logger: Cannot open file \"\"");
    {
      Logger const second(u"x/y/b.log");  // folders made on the way
      EXPECT_EQ(plain(logger::get_destination().string()), "x/y/b.log");
    }
    logger::append_message(std::string("to default \xFF"));
  }
  // A path holding a NUL names no folder; without a destination the notice goes nowhere.
  EXPECT_EQ(refused(std::string("n.log\0/../b.log", 15)),
            "Install Logger: Cannot create directory \"n.log");
  EXPECT_FALSE(fs::exists("n.log"));
  EXPECT_EQ(plain(logger::detail::get_last_destination().string()), "x/y/b.log");
  EXPECT_EQ(log_of("a.log"),
            "(T) first\n\xEF\xBF\xBDsecond\n(T) Gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80\n"
            "(T) Unable to create specified folder for installation log blocker/sub\n"
            "(T) Unable to create specified file for installation log \n"
            "(T) Reset destination file log a.log to x/y/b.log\n");
  EXPECT_EQ(log_of(default_log_), "(T) to default \xEF\xBF\xBD\n");
  EXPECT_EQ(
      traces(),
      "4 set destinationa.log\n4  destination_file.string()=a.log\n"
      "4  msg=first\n\xEF\xBF\xBDsecond\n4  msg=Gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80\n4  msg=\n"
      "4 set destinationblocker/sub/x.log\n"
      "4  msg=Unable to create specified folder for installation log blocker/sub\n"
      "4 set destination:Install Logger: Cannot create directory \"blocker/sub\"\n"
      "4 set destination\n4  msg=Unable to create specified file for installation log \n"
      "4 set destination:Install Logger: Cannot open file \"\"\n"
      "4 set destinationx/y/b.log\n4  destination_file.string()=a.log ofile.string()=x/y/b.log\n"
      "4  msg=Reset destination file log a.log to x/y/b.log\n8 flush destination\n"
      "4  last_destination_file.string()=a.log\n8 unset destination\n4  destination_file."
      "string()=x/y/b.log\n8 flush destination\n4  last_destination_file.string()=x/y/b.log"
      "\n8 unset destination\n4  msg=to default \xEF\xBF\xBD\n4 no destination, keep last "
      "\"x/y/b.log\"\n"
      "4 set destinationn.log\0/../b.log\n"
      "4 set destination:Install Logger: Cannot create directory \"n.log\0/..\"\n"s);

  // The same file twice: the notice names it twice, and no lifetime truncates it. Arguments
  // that retiring the destination in force would change are taken as they were.
  fs::resize_file("a.log", 0);
  {
    Logger const again("a.log");
    Logger const twice(Path(u"a.log"));
    Logger const itself(logger::get_destination());
    logger::append_message(u"again");
  }
  EXPECT_EQ(log_of("a.log"),
            "(T) Reset destination file log a.log to a.log\n"
            "(T) Reset destination file log a.log to a.log\n(T) again\n");
  {
    Logger const other("c.log");
    Logger const back(logger::detail::get_last_destination());
    EXPECT_EQ(logger::get_destination().string(), "a.log");
  }
  EXPECT_TRUE(logger::get_destination().empty());
}

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
  capture_.take();
  std::thread([] {
    std::locale const saved = std::locale::global(std::locale(std::locale::classic(), new Latin1));
    logger::append_message(u"caf\u00E9");
    EXPECT_THROW(logger::append_message(u"quit"), std::range_error);
    std::locale::global(saved);
  }).join();
  EXPECT_EQ(traces(), "4  msg=caf\xE9\n");
  EXPECT_EQ(log_of("converted.log"), "(T) caf\xC3\xA9\n");
}

// The file's lines between two frames, as one record; or a refusal before anything is written,
// not even to the default log.
TEST_F(LoggerTest, AppendFileFramesTheWholeFileOrRefusesBeforeWriting) {
  auto const outcome = [this](std::string const& file) {
    try {
      logger::append_file(file);
    } catch (std::runtime_error const& error) {
      return error.what() + ("|" + traces());
    }
    return "|" + traces();
  };
  EXPECT_EQ(outcome("none"),
            "Logger destination was not initialized.|8 append_file: The output file destination "
            "is not set.\n");
  fs::create_directory("folder");
  Logger const l("framed.log");
  capture_.take();
  EXPECT_EQ(outcome("none"), "The file does not exist.|8 append_file: The file does not exist.\n");
  EXPECT_EQ(outcome("folder"), "append_file: Cannot open file.|");
  EXPECT_EQ(log_of("framed.log") + log_of(default_log_), "");
  // Its lines as read, each ended by a line feed, then made well-formed UTF-8.
  write_file("side file", "\xC2\xA9\n\n\xFF");
  logger::append_file(Path(u"side file"));
  EXPECT_EQ(
      log_of("framed.log"),
      "(T) Content of the file side file\n\xC2\xA9\n\n\xEF\xBF\xBD\nEnd of the file side file\n");
  EXPECT_EQ(
      traces(),
      "4  line=\xC2\xA9\n4  line=\n4  line=\xFF\n4  msg=Content of the file side file\n\xC2\xA9\n\n"
      "\xEF\xBF\xBD\nEnd of the file side file\n");

  // Untraced, the file is copied in pieces of 64 KiB: the same bytes where a piece ends inside a
  // sequence, well formed (a euro sign) or not (one U+FFFD for F0 9F 98), and where the file does.
  diagnostics::set_channel_mask("install::cpputil::logger", 8);
  std::string const cut = std::string(65535, 'a') + "\xE2\x82\xAC" + std::string(65532, 'b');
  write_file("cut", cut + "\xF0\x9F\x98x\xE2");
  fs::resize_file("framed.log", 0);
  logger::append_file(std::string("cut"));
  std::string const once =
      "(T) Content of the file cut\n" + cut + "\xEF\xBF\xBDx\xEF\xBF\xBD\nEnd of the file cut\n";
  EXPECT_EQ(log_of("framed.log"), once);
  logger::append_file(std::string("framed.log"));  // into itself: as it was before the record
  EXPECT_EQ(log_of("framed.log"),
            once + "(T) Content of the file framed.log\n" + once + "End of the file framed.log\n");
  write_file("one", "x");  // a piece of one byte
  fs::resize_file("framed.log", 0);
  logger::append_file(std::string("one"));
  EXPECT_EQ(log_of("framed.log"), "(T) Content of the file one\nx\nEnd of the file one\n");
#if defined(__linux__)
  // With memory bounded whatever the size: a sparse file larger than the address space left
  // (but where a sanitizer's shadow memory takes terabytes of it); then taken back whole when a
  // file-size limit cuts it short.
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  if (long const page = ::sysconf(_SC_PAGESIZE); pages < (1L << 40) / page) {
    std::string const whole = std::to_string(24 + 24 + (64 << 20) + 1 + 20);  // stamp, frames
    EXPECT_EQ(testing::in_child([pages, page] {
                std::signal(SIGXFSZ, SIG_DFL);
                std::ofstream("big").close();
                fs::resize_file("big", 64 << 20);
                rlimit const limit{static_cast<rlim_t>(pages * page + (16 << 20)), RLIM_INFINITY};
                ::setrlimit(RLIMIT_AS, &limit);
                fs::resize_file("framed.log", 0);
                logger::append_file(std::string("big"));
                auto const size = fs::file_size("framed.log");
                rlimit const size_limit{size + (1 << 20), RLIM_INFINITY};
                ::setrlimit(RLIMIT_FSIZE, &size_limit);
                logger::append_file(std::string("big"));
                return std::to_string(size) + ' ' + std::to_string(fs::file_size("framed.log"));
              }),
              whole + ' ' + whole);
  }
#endif
}

// What is done to the log or its place once the destination (if any) is set, in a child whose
// working and temporary folder is its own; then "<log bodies> / <lost bodies>" as it sees
// them. A record written through a planted link, or a folder made, would show there.
struct Fault {
  char const* name;
  std::string destination;                    // empty: the default log
  std::function<void(std::string& log)> act;  // may name the log to read
  std::string expected;
  int uid = -1;  // the child's user when not this process's
};

TEST_F(LoggerTest, ARecordIsWholeOrDroppedAndTraced) {
  std::string const all_lost = " / small|xxxxxxxxxxxx|after";
  std::string const all_kept = "small|xxxxxxxxxxxx|after / ";
  Fault const faults[] = {
// Windows has no such limit, /dev/full, FIFO, owner to give away or closed standard input, and
// Wine run as root writes read-only files.
#if !defined(_WIN32)
    {"file-size limit, SIGXFSZ at its default", "limited.log",
     [](auto const&) {
       std::signal(SIGXFSZ, SIG_DFL);  // a Python parent, for one, leaves it ignored
       rlimit const limit{4096, RLIM_INFINITY};
       ::setrlimit(RLIMIT_FSIZE, &limit);
     },
     "small|after / xxxxxxxxxxxx"},
    {"full device", "/dev/full", {}, all_lost},
    {"FIFO at the default log", "", [](auto const& log) { ::mkfifo(log.c_str(), 0666); }, all_lost},
    {"another user's file at the default log", "",
     [](auto const& log) {
       write_file(log, "");
       static_cast<void>(::chown(log.c_str(), 65534, 65534));
     },
     ::geteuid() == 0 ? all_lost : all_kept},  // given away by root only
    {"log made read-only", "read-only.log",
     [](auto const& log) { fs::permissions(log, fs::perms::owner_read); }, all_lost, 65534},
    {"standard input closed, the log gets descriptor 0", "", [](auto const&) { ::close(0); },
     all_kept},
    {"log that the user may write but not read", "write-only.log",
     [](auto const& log) {
       write_file(log, "(Jan 01, 2000 00:00:00) old\n");
       fs::permissions(log, fs::perms::owner_write);
     },
     "old|" + all_kept, 65534},
    {"lock held past the wait by another open of the log", "held.log",
     [](auto const& log) { ::flock(::open(log.c_str(), O_RDONLY | O_CLOEXEC), LOCK_EX); },
     all_kept + "unlocked held.log|unlocked held.log|unlocked held.log"},
    {"lock held past the wait, and a file-size limit: the part written is not taken back",
     "held-limited.log",
     [](auto const& log) {
       ::flock(::open(log.c_str(), O_RDONLY | O_CLOEXEC), LOCK_EX);
       rlimit const limit{4096, RLIM_INFINITY};
       ::setrlimit(RLIMIT_FSIZE, &limit);
     },
     "small|xxxxxxxxxxxx / unlocked held-limited.log|unlocked held-limited.log|xxxxxxxxxxxx|"
     "unlocked held-limited.log|after"},
    {"USER with separators, for a user without an entry", "",
     [](std::string& log) {
       testing::set_env("USER", "../up/x");
       testing::set_env(testing::kTempVariable, ".");  // nobody may not pass the folders above
       log = ::geteuid() == 54321 ? "zembrak_.._up_x.log" : log;  // as root
     },
     all_kept, 54321},
#endif
    {"record of a killed writer left without its line feed", "torn.log",
     [](auto const& log) {
       logger::append_message(u"first");
       fs::resize_file(log, fs::file_size(log) - 1);
     },
     "first|" + all_kept},
    {"folder removed", "gone/x.log", [](auto const&) { fs::remove_all("gone"); }, all_lost},
    {"symbolic link at the default log", "",
     [](auto const& log) {
       write_file("victim", "");
       fs::create_symlink(fs::absolute("victim"), fs::u8path(log));  // not on Wine
     },
     all_lost},
    {"hard link at the default log", "",
     [](auto const& log) {
       write_file("victim", "");
       fs::create_hard_link("victim", log);
     },
     all_lost},
    {"missing temporary folder", "",
     [](auto const&) { testing::set_env(testing::kTempVariable, "missing"); }, all_lost},
  };
  for (auto const& fault : faults) {
    std::string const outcome = testing::in_child(
        [&] {
          fs::create_directory(fault.name);  // relative: nobody may not pass the folders above
          fs::current_path(fault.name);
          testing::set_env(testing::kTempVariable, fs::current_path().u8string());
          std::string log = fault.destination.empty() ? default_log_ : fault.destination;
          capture_.take();
          auto const destination =
              fault.destination.empty() ? nullptr : std::make_unique<Logger>(log);
          if (fault.act) {
            fault.act(log);
          }
          for (std::string const& message : {"small"s, std::string(10000, 'x'), "after"s}) {
            logger::append_message(message);
          }
          std::error_code ignored;  // so the child can read back what it wrote
          fs::permissions(log, fs::perms::owner_read, fs::perm_options::add, ignored);
          return (fs::is_regular_file(log) ? bodies_of(log) : "") + " / " + lost();
        },
        fault.uid);
    if (outcome.rfind("threw: filesystem error: cannot create symlink", 0) != 0) {
      EXPECT_EQ(outcome, fault.expected) << fault.name;
    }
    fs::current_path(scratch_.path());  // where the child ran here (Windows)
  }
}

// Threads append while another keeps replacing the destination and, a Logger ended after the
// other, falls back to the default log: every record lands once, whole, in one of the logs.
TEST_F(LoggerTest, ThreadsAppendWhileTheDestinationChanges) {
  std::atomic<bool> writing{true};
  std::thread replacer([&writing] {
    for (int k = 0; writing; ++k) {
      Logger const first("log" + std::to_string(k % 3));
      Logger const second("log" + std::to_string(k % 5));
    }
  });
  std::vector<std::thread> writers;
  for (int w = 0; w < 4; ++w) {
    writers.emplace_back([w] {
      for (int i = 0; i < 2000; ++i) {
        logger::append_message(std::to_string(10000 + w * 2000 + i) + std::string(48, '.'));
      }
    });
  }
  for (auto& thread : writers) {
    thread.join();
  }
  writing = false;
  replacer.join();
  std::string bodies = "|";
  for (auto const& entry : fs::directory_iterator(scratch_.path())) {
    bodies += bodies_of(entry.path()) + "|";
  }
  std::regex const message(R"(\|(1\d{4})\.)");
  std::multiset<std::string> seen;  // each message's number
  for (std::sregex_iterator it(bodies.begin(), bodies.end(), message), end; it != end; ++it) {
    seen.insert((*it)[1]);
  }
  EXPECT_EQ(seen.size(), 8000U);
  EXPECT_EQ(std::set<std::string>(seen.begin(), seen.end()).size(), 8000U) << "lost or doubled";
  EXPECT_EQ(lost(), "");
}

}  // namespace
}  // namespace install::cpputil
