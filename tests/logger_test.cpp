#include "install/cpputil/logger.hpp"

#include <filesystem>
#include <iterator>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <utility>

#include <pwd.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using logger::Logger;
using testing::read_file;
using testing::ScopedEnv;
using testing::ScratchDir;
using testing::write_file;

constexpr char const* kChannel = "install::cpputil::logger";

// Each "(<time stamp>) " becomes "(T) ", so that logs and traces compare as literals.
std::string without_stamps(std::string const& text) {
  static std::regex const stamp(R"(\((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) )"
                                R"([0-3][0-9], [0-9]{4} [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\) )");
  return std::regex_replace(text, stamp, "(T) ");
}
std::string log_of(std::string const& path) { return without_stamps(read_file(path)); }

class LoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(tmp_);
    capture_.enable(kChannel, 12);
  }
  void TearDown() override {
    EXPECT_TRUE(logger::get_destination().empty()) << "a Logger outlived its test";
    logger::detail::forget_last_destination();
  }
  // One "<severity> <text>" line per record.
  std::string traces() const {
    std::string lines;
    for (auto const& record : capture_.records()) {
      lines += std::to_string(record.severity) + ' ' + without_stamps(record.text) + '\n';
    }
    return lines;
  }
  static std::string last() { return logger::detail::get_last_destination().string(); }

  ScratchDir scratch_;
  std::string tmp_ = scratch_ / "tmp";
  ScopedEnv tmpdir_{"TMPDIR", tmp_};  // never the real per-user log
  std::string default_log_ = tmp_ + "/zembrak_" + ::getpwuid(::geteuid())->pw_name + ".log";
  testing::TraceCapture capture_;
};

TEST_F(LoggerTest, DestinationsReplaceEachOtherAndDoNotStack) {
  std::string const a = scratch_ / "a.log";
  std::string const b = scratch_ / "one/two/b.log";  // folders made on the way
  {
    Logger const first(a);
    EXPECT_EQ(read_file(a), "");
    logger::append_message(std::string("to a"));
    {
      Logger const second(utf8_to_ustring(b));
      EXPECT_EQ(logger::get_destination().string(), b);
      EXPECT_EQ(last(), a);
    }
    EXPECT_TRUE(logger::get_destination().empty());
    logger::append_message(u"to default");
  }
  EXPECT_EQ(last(), b);
  EXPECT_EQ(log_of(a), "(T) to a\n(T) Reset destination file log " + a + " to " + b + "\n");
  EXPECT_EQ(log_of(b), "");
  EXPECT_EQ(log_of(default_log_), "(T) to default\n");
  EXPECT_EQ(traces(), "4 set destination" + a + "\n4  destination_file.string()=" + a +
                          "\n4  msg=to a\n4 set destination" + b +
                          "\n4  destination_file.string()=" + a + " ofile.string()=" + b +
                          "\n4  msg=Reset destination file log " + a + " to " + b +
                          "\n8 flush destination\n4  last_destination_file.string()=" + a +
                          "\n8 unset destination\n4  destination_file.string()=" + b +
                          "\n8 flush destination\n4  last_destination_file.string()=" + b +
                          "\n8 unset destination\n4  msg=to default\n"
                          "4 no destination, keep last \"" +
                          b + "\"\n");

  // The same file twice: the notice names it twice, and no lifetime truncates it.
  {
    Logger const again(a);
    Logger const twice(Path(utf8_to_ustring(a)));
    EXPECT_EQ(last(), a);
    logger::append_message(u"again");
  }
  EXPECT_EQ(log_of(a), "(T) to a\n(T) Reset destination file log " + a + " to " + b +
                           "\n(T) Reset destination file log " + a + " to " + a + "\n(T) again\n");
  logger::detail::forget_last_destination();
  EXPECT_EQ(last(), "");
}

TEST_F(LoggerTest, FailedConstructionKeepsBothPathsAndNoticesOnlyAnExistingLog) {
  write_file(scratch_ / "blocker", "a file where a folder should be");
  std::string const current = scratch_ / "current.log";
  std::string const blocker = scratch_ / "blocker";
  struct Case {
    std::string destination;
    bool folder_fails;  // else the file fails
    std::string named;
  };
  Case const cases[] = {
      {"", false, ""},
      {blocker + "/sub/x.log", true, blocker + "/sub"},
      {blocker + "/x.log", false, blocker + "/x.log"},
  };
  { Logger const earlier(scratch_ / "earlier.log"); }
  for (bool const with_destination : {false, true}) {
    for (auto const& c : cases) {
      SCOPED_TRACE(c.destination + (with_destination ? " with" : " without"));
      fs::remove(current);
      auto const in_force = with_destination ? std::make_unique<Logger>(current) : nullptr;
      std::string const what = "Install Logger: Cannot " +
                               std::string(c.folder_fails ? "create directory" : "open file") +
                               " \"" + c.named + "\"";
      std::string const notice = "Unable to create specified " +
                                 std::string(c.folder_fails ? "folder" : "file") +
                                 " for installation log " + c.named;
      std::string const last_before = last();
      capture_.clear();
      try {
        Logger const refused(c.destination);
        ADD_FAILURE() << "no exception";
      } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), what);
      }
      EXPECT_EQ(logger::get_destination().string(), with_destination ? current : "");
      EXPECT_EQ(last(), last_before);
      EXPECT_FALSE(fs::exists(default_log_));
      EXPECT_EQ(log_of(current), with_destination ? "(T) " + notice + "\n" : "");
      EXPECT_EQ(traces(), "4 set destination" + c.destination + "\n" +
                              (with_destination ? "4  msg=" + notice + "\n" : "") +
                              "4 set destination:" + what + "\n");
    }
  }
}

// The destination is a bare name (no folder to make) holding an unpaired surrogate, which must
// be traced as U+FFFD rather than throw: in ~Logger that would end the process.
TEST_F(LoggerTest, RecordsAreStampedUtf8LinesAndBothFormsWriteTheSame) {
  std::string const bad = "bad\xEF\xBF\xBD.log";
  auto const saved = fs::current_path();
  fs::current_path(scratch_.path());
  Logger const l(u"bad" + ustring(1, char16_t(0xD800)) + u".log");
  EXPECT_EQ(logger::get_destination().string(), bad);
  std::pair<ustring, std::string> const cases[] = {
      {u"Setup begun", "(T) Setup begun\n"},
      {u"first\nsecond\n\nfourth", "(T) first\nsecond\n\nfourth\n"},
      {u"Grüß \u2713 \U0001F600", "(T) Gr\xC3\xBC\xC3\x9F \xE2\x9C\x93 \xF0\x9F\x98\x80\n"},
      {u"a" + ustring(1, char16_t(0xDC00)) + u"z", "(T) a\xEF\xBF\xBDz\n"},
      {u"", ""}};
  for (auto const& [message, record] : cases) {
    SCOPED_TRACE(record);
    fs::resize_file(bad, 0);
    capture_.clear();
    logger::append_message(message);
    logger::append_message(ustring_to_utf8(message));
    EXPECT_EQ(log_of(bad), record + record);
    std::string const traced = "4  msg=" + ustring_to_utf8(message) + "\n";
    EXPECT_EQ(traces(), traced + traced);
  }
  fs::current_path(saved);
}

TEST_F(LoggerTest, DefaultLogIsPerUserInTheTemporaryFolder) {
  logger::append_message(ustring());
  EXPECT_TRUE(fs::is_empty(tmp_));
  write_file(default_log_, "kept\n");
  logger::append_message(std::string("one"));
  {
    ScopedEnv const slash("TMPDIR", tmp_ + "/");  // still the same file
    logger::append_message(std::string("two"));
  }
  EXPECT_EQ(log_of(default_log_), "kept\n(T) one\n(T) two\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(tmp_), fs::directory_iterator()), 1);
}

TEST_F(LoggerTest, UnwritableDefaultLogLosesTheRecordAndNeverFollowsALink) {
  std::string const victim = scratch_ / "victim";
  write_file(victim, "precious\n");
  for (std::string const planted : {"missing folder", "link", "dangling link"}) {
    SCOPED_TRACE(planted);
    ScopedEnv const env("TMPDIR", planted == "missing folder" ? tmp_ + "/missing" : tmp_);
    if (planted != "missing folder") {
      fs::create_symlink(planted == "link" ? victim : scratch_ / "nothing", default_log_);
    }
    capture_.clear();
    logger::append_message(std::string("lost"));
    EXPECT_EQ(traces(), "4  msg=lost\n4 failed to open destination_file for u8msg (T) lost\n");
    fs::remove(default_log_);
  }
  EXPECT_EQ(read_file(victim), "precious\n");
  EXPECT_FALSE(fs::exists(scratch_ / "nothing"));
  EXPECT_FALSE(fs::exists(tmp_ + "/missing"));
}

TEST_F(LoggerTest, AppendFileFramesTheContentAsOneRecord) {
  std::string const log = scratch_ / "framed.log";
  std::string const file = scratch_ / "side file.txt";
  // The file's content, and the lines between the frames.
  std::pair<std::string, std::string> const cases[] = {
      {"", ""},
      {"a\nb\nc", "a\nb\nc\n"},
      {"a\nb\nc\n", "a\nb\nc\n"},
      {"a\n\n\nb\n", "a\n\n\nb\n"},
      {"\xC3\xA9t\xC3\xA9\n", "\xC3\xA9t\xC3\xA9\n"}};
  Logger const l(log);
  for (auto const& [content, lines] : cases) {
    SCOPED_TRACE(content);
    write_file(file, content);
    fs::resize_file(log, 0);
    logger::append_file(file);
    logger::append_file(utf8_to_ustring(file));
    logger::append_file(Path(utf8_to_ustring(file)));
    std::string const record =
        "(T) Content of the file " + file + "\n" + lines + "End of the file " + file + "\n";
    EXPECT_EQ(log_of(log), record + record + record);
  }

  write_file(file, "one\n\nthree");
  capture_.clear();
  logger::append_file(file);
  EXPECT_EQ(traces().rfind("4  line=one\n4  line=\n4  line=three\n4  msg=Content of the file ", 0),
            0U);
}

TEST_F(LoggerTest, AppendFileRefusesBeforeWritingAnything) {
  std::string const log = scratch_ / "refusals.log";
  fs::create_directory(scratch_ / "folder");
  std::string const unset = "8 append_file: The output file destination is not set.\n";
  std::string const missing = "8 append_file: The file does not exist.\n";
  struct Case {
    bool destination;
    std::string file;
    char const* what;
    std::string traced;
  };
  Case const cases[] = {
      {false, scratch_ / "none", "Logger destination was not initialized.", unset},
      {true, scratch_ / "none", "The file does not exist.", missing},
      {true, "", "The file does not exist.", missing},
      {true, scratch_ / "folder", "append_file: Cannot open file.", ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.file);
    auto const in_force = c.destination ? std::make_unique<Logger>(log) : nullptr;
    fs::remove(log);
    capture_.clear();
    try {
      logger::append_file(c.file);
      ADD_FAILURE() << "no exception";
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), c.what);
    }
    EXPECT_EQ(traces(), c.traced);
    EXPECT_FALSE(fs::exists(log));
    EXPECT_TRUE(fs::is_empty(tmp_));
  }
}

}  // namespace
}  // namespace install::cpputil
