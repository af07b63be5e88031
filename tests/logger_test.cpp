#include "install/cpputil/logger.hpp"

#include <filesystem>
#include <locale>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using logger::Logger;
using testing::native_separators;
using testing::read_file;
using testing::ScopedEnv;
using testing::write_file;

// Each "(<time stamp>) " becomes "(T) ", so that logs and traces compare as literals.
std::string without_stamps(std::string const& text) {
  static std::regex const stamp(R"(\((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) )"
                                R"([0-3][0-9], [0-9]{4} [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\) )");
  return std::regex_replace(text, stamp, "(T) ");
}
std::string log_of(std::string const& path) { return without_stamps(read_file(path)); }
std::string last() { return logger::detail::get_last_destination().string(); }

// Runs in its scratch folder, so that relative paths keep the expected texts short.
class LoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::current_path(scratch_.path());
    fs::create_directory(tmp_);
    capture_.enable("install::cpputil::logger", 12);
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

  fs::path const saved_ = fs::current_path();
  testing::ScratchDir scratch_;
  std::string tmp_ = scratch_ / "tmp";
  ScopedEnv tmpdir_{testing::kTempVariable, tmp_};  // never the real per-user log
  std::string default_log_ = tmp_ + "/zembrak_" + testing::user_name() + ".log";
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
  EXPECT_EQ(log_of(default_log_), "(T) to default\n");
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
  // The destination, then the ends of the error and of the notice in the log in force.
  std::vector<std::tuple<std::string, std::string, std::string>> cases = {
      {"", "open file \"\"", "file for installation log "},
      {"blocker/sub/x.log", "create directory \"blocker/sub\"",
       "folder for installation log blocker/sub"},
      {"blocker/x.log", "open file \"blocker/x.log\"", "file for installation log blocker/x.log"},
      {"folder", "open file \"folder\"", "file for installation log folder"},
      {long_name, "open file \"" + long_name + "\"", "file for installation log " + long_name},
  };
#if defined(_WIN32)
  if (std::string const drive = testing::missing_drive(); !drive.empty()) {
    cases.emplace_back(drive + "logs\\x.log", "create directory \"" + drive + "logs\"",
                       "folder for installation log " + drive + "logs");
  }
#endif
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
        EXPECT_EQ(error.what(), what);
      }
      EXPECT_EQ(logger::get_destination().string(), with_destination ? "current.log" : "");
      EXPECT_EQ(last(), last_before);
      EXPECT_EQ(log_of("current.log"), with_destination ? "(T) " + notice + "\n" : "");
      // Without a destination the notice is not traced, so it went nowhere.
      EXPECT_EQ(traces(), "4 set destination" + native_separators(destination) + "\n" +
                              (with_destination ? "4  msg=" + notice + "\n" : "") +
                              "4 set destination:" + what + "\n");
    }
  }
}

#if defined(_WIN32)
// Windows' own kinds of odd destination: devices, and a name with an unpaired surrogate, which
// NTFS takes and Wine cannot map. Each is taken or refused with the usual error; none hangs.
TEST_F(LoggerTest, DevicesAndIllFormedNamesNeitherCrashNorHang) {
  {
    Logger const device(std::string("NUL"));
    logger::append_message(u"into nothing");
    EXPECT_EQ(logger::get_destination().string(), "NUL");
  }
  for (ustring const& name : {ustring(u"CON"), u"bad" + ustring(1, char16_t(0xD800)) + u".log"}) {
    SCOPED_TRACE(to_string(name));
    try {
      Logger const l(name);
      logger::append_message(u"somewhere");
    } catch (std::runtime_error const& error) {
      EXPECT_EQ(error.what(), "Install Logger: Cannot open file \"" + to_string(name) + "\"");
    }
  }
}
#endif

// The destination holds an unpaired surrogate, which must be traced as U+FFFD rather than
// throw: in ~Logger that would end the process. Wine names no file so (see DevicesAndIllFormed…).
TEST_F(LoggerTest, RecordsAreStampedUtf8LinesAndBothFormsWriteTheSame) {
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
    logger::append_message(ustring_to_utf8(message));
    EXPECT_EQ(log_of("bad\xEF\xBF\xBD.log"), record + record);
    std::string const traced = "4  msg=" + ustring_to_utf8(message) + "\n";
    EXPECT_EQ(traces(), traced + traced);
  }
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

TEST_F(LoggerTest, DefaultLogIsPerUserInTheTemporaryFolderAndNeverFollowsALink) {
  logger::append_message(ustring());
  EXPECT_TRUE(fs::is_empty(tmp_));
  write_file(default_log_, "kept\n");
  logger::append_message(std::string("one"));
  EXPECT_EQ(log_of(default_log_), "kept\n(T) one\n");
  fs::remove(default_log_);

  // Unwritable: the record is lost, and nothing planted at the name is written through.
  std::string const victim = scratch_ / "victim";
  write_file(victim, "precious\n");
  for (std::string const planted :
       {"missing folder", "folder", "hard link", "link", "dangling link"}) {
    SCOPED_TRACE(planted);
    ScopedEnv const env(testing::kTempVariable,
                        planted == "missing folder" ? tmp_ + "/missing" : tmp_);
    if (planted == "folder") {
      fs::create_directory(default_log_);
    } else if (planted == "hard link") {
      fs::create_hard_link(victim, default_log_);
    } else if (planted != "missing folder" &&
               !testing::make_symlink(planted == "link" ? victim : scratch_ / "nothing",
                                      default_log_)) {
      GTEST_SKIP() << "no symbolic links here (Windows without the privilege, or Wine)";
    }
    capture_.clear();
    logger::append_message(std::string("lost"));
    EXPECT_EQ(traces(), "4  msg=lost\n4 failed to open destination_file for u8msg (T) lost\n");
    fs::remove(default_log_);
  }
  EXPECT_EQ(read_file(victim), "precious\n");
  EXPECT_FALSE(fs::exists("nothing"));
  EXPECT_FALSE(fs::exists(tmp_ + "/missing"));
}

TEST_F(LoggerTest, AppendFileFramesTheContentAsOneRecord) {
  std::string const file = "side file.txt";
  Logger const l("framed.log");
  // The file's content, and the lines between the frames.
  std::pair<std::string, std::string> const cases[] = {{"", ""},
                                                       {"a\nb", "a\nb\n"},
                                                       {"a\nb\n", "a\nb\n"},
                                                       {"\xC3\xA9\n\n\nb\n", "\xC3\xA9\n\n\nb\n"}};
  for (auto const& [content, lines] : cases) {
    SCOPED_TRACE(content);
    write_file(file, content);
    fs::resize_file("framed.log", 0);
    logger::append_file(file);
    logger::append_file(utf8_to_ustring(file));
    logger::append_file(Path(utf8_to_ustring(file)));
    std::string const record =
        "(T) Content of the file " + file + "\n" + lines + "End of the file " + file + "\n";
    EXPECT_EQ(log_of("framed.log"), record + record + record);
  }

  write_file(file, "one\n\nthree");
  capture_.clear();
  logger::append_file(file);
  EXPECT_EQ(traces().rfind("4  line=one\n4  line=\n4  line=three\n4  msg=Content of the file ", 0),
            0U);
}

TEST_F(LoggerTest, AppendFileRefusesBeforeWritingAnything) {
  fs::create_directory("folder");
  std::string const missing = "8 append_file: The file does not exist.\n";
  // Whether a destination is set, the file to append, the error and the traces.
  std::tuple<bool, std::string, char const*, std::string> const cases[] = {
      {false, "none", "Logger destination was not initialized.",
       "8 append_file: The output file destination is not set.\n"},
      {true, "none", "The file does not exist.", missing},
      {true, "", "The file does not exist.", missing},
      {true, "folder", "append_file: Cannot open file.", ""},
  };
  for (auto const& [destination, file, what, traced] : cases) {
    SCOPED_TRACE(file);
    auto const in_force = destination ? std::make_unique<Logger>("refusals.log") : nullptr;
    fs::remove("refusals.log");
    capture_.clear();
    try {
      logger::append_file(file);
      ADD_FAILURE() << "no exception";
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), what);
    }
    EXPECT_EQ(traces(), traced);  // no "msg=": nothing went to the default log either
    EXPECT_FALSE(fs::exists("refusals.log"));
  }
}

}  // namespace
}  // namespace install::cpputil
