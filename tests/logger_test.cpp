#include "install/cpputil/logger.hpp"

#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

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
using testing::TraceCapture;
using testing::TraceRecord;
using testing::write_file;

constexpr char const* kChannel = "install::cpputil::logger";

// Replaces each "(<time stamp>) " by "(T) ", so that whole files compare as literals.
std::string without_stamps(std::string const& text) {
  static std::regex const stamp(
      R"(\((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [0-3][0-9], [0-9]{4} )"
      R"([0-2][0-9]:[0-5][0-9]:[0-6][0-9]\) )");
  return std::regex_replace(text, stamp, "(T) ");
}

std::string log_of(std::string const& path) { return without_stamps(read_file(path)); }

std::string user_name() {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr) {
    return {};
  }
  return found->pw_name;
}

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

  std::string default_log() const { return tmp_ + "/zembrak_" + user_name() + ".log"; }

  std::vector<TraceRecord> traces() const {
    std::vector<TraceRecord> ours;
    for (auto& record : capture_.records()) {
      if (record.channel == kChannel) {
        ours.push_back(record);
      }
    }
    return ours;
  }
  static TraceRecord trace(int severity, std::string text) {
    return {kChannel, severity, std::move(text)};
  }

  ScratchDir scratch_;
  std::string tmp_ = scratch_ / "tmp";
  // No test ever writes to the real per-user log.
  ScopedEnv tmpdir_{"TMPDIR", tmp_};
  TraceCapture capture_;
};

TEST_F(LoggerTest, ReplacingADestinationLeavesANoticeInTheOldLog) {
  std::string const a = scratch_ / "a.log";
  std::string const b = scratch_ / "b.log";
  {
    Logger const first(a);
    EXPECT_EQ(logger::get_destination().string(), a);
    EXPECT_EQ(read_file(a), "");  // created, nothing written
    logger::append_message(std::string("to a"));
    {
      Logger const second(b);
      EXPECT_EQ(logger::get_destination().string(), b);
      EXPECT_EQ(logger::detail::get_last_destination().string(), a);
      logger::append_message(std::string("to b"));
    }
    // Loggers do not stack: the outer destination is not restored.
    EXPECT_TRUE(logger::get_destination().empty());
    EXPECT_EQ(logger::detail::get_last_destination().string(), b);
    logger::append_message(std::string("to default"));
  }
  EXPECT_EQ(logger::detail::get_last_destination().string(), b);
  EXPECT_EQ(log_of(a), "(T) to a\n(T) Reset destination file log " + a + " to " + b + "\n");
  EXPECT_EQ(log_of(b), "(T) to b\n");
  EXPECT_EQ(log_of(default_log()), "(T) to default\n");

  logger::detail::forget_last_destination();
  EXPECT_TRUE(logger::detail::get_last_destination().empty());
}

TEST_F(LoggerTest, TracesEveryTransition) {
  std::string const a = scratch_ / "a.log";
  std::string const b = scratch_ / "b.log";
  {
    Logger const first(a);
    Logger const second(b);
  }
  EXPECT_EQ(traces(), (std::vector<TraceRecord>{
                          trace(4, "set destination" + a),
                          trace(4, " destination_file.string()=" + a),
                          trace(4, "set destination" + b),
                          trace(4, " destination_file.string()=" + a + " ofile.string()=" + b),
                          trace(4, " msg=Reset destination file log " + a + " to " + b),
                          trace(8, "flush destination"),
                          trace(4, " last_destination_file.string()=" + a),
                          trace(8, "unset destination"),
                          trace(4, " destination_file.string()=" + b),
                          trace(8, "flush destination"),
                          trace(4, " last_destination_file.string()=" + b),
                          trace(8, "unset destination"),
                          trace(4, "no destination, keep last \"" + b + "\""),
                      }));
}

TEST_F(LoggerTest, SameDestinationTwiceNamesItselfInTheNotice) {
  std::string const x = scratch_ / "x.log";
  write_file(x, "earlier run\n");
  {
    Logger const first(x);
    Logger const again(utf8_to_ustring(x));
    EXPECT_EQ(logger::get_destination().string(), x);
    EXPECT_EQ(logger::detail::get_last_destination().string(), x);
    logger::append_message(u"still here");
  }
  {
    Logger const later(Path(utf8_to_ustring(x)));
    logger::append_message(u"next run");
  }
  EXPECT_EQ(log_of(x), "earlier run\n(T) Reset destination file log " + x + " to " + x +
                           "\n(T) still here\n(T) next run\n");
}

TEST_F(LoggerTest, CreatesMissingFoldersAndTakesBareNames) {
  std::string const deep = scratch_ / "one/two/three/install.log";
  {
    Logger const deep_logger(deep);
    logger::append_message(std::string("deep"));
  }
  EXPECT_EQ(log_of(deep), "(T) deep\n");

  auto const saved = fs::current_path();
  fs::current_path(scratch_.path());
  {
    Logger const bare(std::string("bare.log"));
    EXPECT_EQ(logger::get_destination().string(), "bare.log");
    logger::append_message(std::string("bare"));
  }
  fs::current_path(saved);
  EXPECT_EQ(log_of(scratch_ / "bare.log"), "(T) bare\n");
}

struct FailureCase {
  char const* name;
  char const* destination;  // under the scratch folder; "" stands for the empty path itself
  bool folder_fails;        // else the file fails
  char const* named;        // what the message and the notice name, under the scratch folder
};
FailureCase const kFailures[] = {
    {"EmptyPath", "", false, ""},
    {"FolderUnderAFile", "blocker/sub/x.log", true, "blocker/sub"},
    {"FileUnderAFile", "blocker/x.log", false, "blocker/x.log"},
    {"DestinationIsAFolder", "folder", false, "folder"},
};

TEST_F(LoggerTest, FailedConstructionKeepsBothPathsAndNoticesOnlyAnExistingLog) {
  write_file(scratch_ / "blocker", "a file where a folder should be");
  fs::create_directory(scratch_ / "folder");
  std::string const earlier = scratch_ / "earlier.log";
  std::string const current = scratch_ / "current.log";
  { Logger const l(earlier); }

  for (bool const with_destination : {false, true}) {
    for (auto const& c : kFailures) {
      SCOPED_TRACE(std::string(c.name) + (with_destination ? " with" : " without"));
      fs::remove(current);
      std::unique_ptr<Logger> in_force;
      if (with_destination) {
        in_force = std::make_unique<Logger>(current);
      }
      auto const under = [&](std::string const& name) {
        return name.empty() ? name : scratch_ / name;
      };
      std::string const what =
          std::string(c.folder_fails ? "Install Logger: Cannot create directory \""
                                     : "Install Logger: Cannot open file \"") +
          under(c.named) + "\"";
      std::string const notice =
          std::string(c.folder_fails ? "Unable to create specified folder for installation log "
                                     : "Unable to create specified file for installation log ") +
          under(c.named);
      capture_.clear();
      try {
        if (with_destination) {
          Logger const refused(utf8_to_ustring(under(c.destination)));
        } else {
          Logger const refused(under(c.destination));
        }
        ADD_FAILURE() << "no exception";
      } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), what);
      }
      EXPECT_EQ(logger::get_destination().string(), with_destination ? current : "");
      EXPECT_EQ(logger::detail::get_last_destination().string(), earlier);
      EXPECT_FALSE(fs::exists(default_log()));

      auto const records = traces();
      ASSERT_FALSE(records.empty());
      EXPECT_EQ(records.back(), trace(4, "set destination:" + what));
      if (with_destination) {
        EXPECT_EQ(log_of(current), "(T) " + notice + "\n");
        ASSERT_EQ(records.size(), 3U);
        EXPECT_EQ(records[1], trace(4, " msg=" + notice));
      } else {
        EXPECT_EQ(records.size(), 2U);
      }
      in_force.reset();
      { Logger const restore(earlier); }
    }
  }
}

TEST_F(LoggerTest, RecordsAreStampedUtf8Lines) {
  std::string const path = scratch_ / "records.log";
  Logger const l(path);
  struct Case {
    char const* name;
    ustring message;
    std::string expected;
  };
  Case const cases[] = {
      {"Ascii", u"Setup begun", "(T) Setup begun\n"},
      {"SeveralLines", u"first\nsecond\n\nfourth", "(T) first\nsecond\n\nfourth\n"},
      {"NonAscii", u"Grüße \u2713 \U0001F600",
       "(T) Gr\xC3\xBC\xC3\x9F"
       "e \xE2\x9C\x93 \xF0\x9F\x98\x80\n"},
      {"UnpairedSurrogate", ustring(u"a") + char16_t(0xD800) + u"b",
       "(T) a\xEF\xBF\xBD"
       "b\n"},
      {"Empty", u"", ""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    fs::resize_file(path, 0);
    logger::append_message(c.message);
    EXPECT_EQ(log_of(path), c.expected);
    // The UTF-8 form writes the very same record.
    fs::resize_file(path, 0);
    logger::append_message(ustring_to_utf8(c.message));
    EXPECT_EQ(log_of(path), c.expected);
  }
}

// Boost.Log's own UTF-16 conversion throws on these; a traced path must not end the process
// in ~Logger, nor a traced message reach the caller as an error.
TEST_F(LoggerTest, UnpairedSurrogatesAreTracedAsReplacementCharacters) {
  std::string const written = scratch_ / "bad\xEF\xBF\xBD.log";
  {
    Logger const l(utf8_to_ustring(scratch_ / "bad") + char16_t(0xD800) + u".log");
    EXPECT_NO_THROW(logger::append_message(u"m" + ustring(1, char16_t(0xDC00))));
  }
  EXPECT_EQ(log_of(written), "(T) m\xEF\xBF\xBD\n");
  auto const records = traces();
  ASSERT_EQ(records.size(), 6U);
  EXPECT_EQ(records[0], trace(4, "set destination" + written));
  EXPECT_EQ(records[2], trace(4, " msg=m\xEF\xBF\xBD"));
  EXPECT_EQ(records[4], trace(4, " last_destination_file.string()=" + written));
}

TEST_F(LoggerTest, EmptyMessageOnlyTraces) {
  logger::append_message(ustring());
  logger::append_message(std::string());
  EXPECT_TRUE(fs::is_empty(tmp_));
  EXPECT_EQ(traces(), (std::vector<TraceRecord>{trace(4, " msg="), trace(4, " msg=")}));
}

TEST_F(LoggerTest, DefaultLogIsPerUserInTheTemporaryFolder) {
  write_file(default_log(), "kept\n");
  logger::append_message(std::string("one"));
  {
    // A trailing separator in TMPDIR names the same file.
    ScopedEnv const slash("TMPDIR", tmp_ + "/");
    logger::append_message(std::string("two"));
  }
  EXPECT_EQ(log_of(default_log()), "kept\n(T) one\n(T) two\n");
  EXPECT_EQ(std::distance(fs::directory_iterator(tmp_), fs::directory_iterator()), 1);
}

TEST_F(LoggerTest, DefaultLogInAMissingFolderIsLostAndTraced) {
  ScopedEnv const missing("TMPDIR", tmp_ + "/missing");
  logger::append_message(std::string("lost"));
  EXPECT_FALSE(fs::exists(tmp_ + "/missing"));
  auto const records = traces();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(without_stamps(records[1].text), "failed to open destination_file for u8msg (T) lost");
  EXPECT_EQ(records[1].severity, 4);
}

TEST_F(LoggerTest, DefaultLogIsNeverWrittenThroughASymbolicLink) {
  std::string const target = scratch_ / "victim";
  for (bool const dangling : {false, true}) {
    SCOPED_TRACE(dangling ? "dangling" : "to a file");
    if (!dangling) {
      write_file(target, "precious\n");
    }
    fs::create_symlink(target, default_log());
    capture_.clear();
    logger::append_message(std::string("planted"));
    EXPECT_EQ(fs::exists(target) ? read_file(target) : "none", dangling ? "none" : "precious\n");
    EXPECT_TRUE(fs::is_symlink(default_log()));
    auto const records = traces();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(without_stamps(records[1].text),
              "failed to open destination_file for u8msg (T) planted");
    fs::remove(default_log());
    fs::remove(target);
  }
}

struct FramingCase {
  char const* name;
  std::string content;
  std::string lines;  // between the two framing lines
};

TEST_F(LoggerTest, AppendFileFramesTheContentAsOneRecord) {
  std::string const log = scratch_ / "framed.log";
  std::string const file = scratch_ / "side file.txt";
  FramingCase const cases[] = {
      {"Empty", "", ""},
      {"NoFinalFeed", "a\nb\nc", "a\nb\nc\n"},
      {"FinalFeed", "a\nb\nc\n", "a\nb\nc\n"},
      {"EmptyLinesInside", "a\n\n\nb\n", "a\n\n\nb\n"},
      {"NonAscii", "\xC3\xA9t\xC3\xA9\n", "\xC3\xA9t\xC3\xA9\n"},
  };
  Logger const l(log);
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    write_file(file, c.content);
    std::string expected = "(T) Content of the file " + file + "\n";
    expected += c.lines + "End of the file " + file + "\n";
    using Form = std::function<void()>;
    Form const forms[] = {
        [&] { logger::append_file(file); },
        [&] { logger::append_file(utf8_to_ustring(file)); },
        [&] { logger::append_file(Path(utf8_to_ustring(file))); },
    };
    for (auto const& form : forms) {
      fs::resize_file(log, 0);
      form();
      EXPECT_EQ(log_of(log), expected);
    }
  }
}

TEST_F(LoggerTest, AppendFileTracesEachLine) {
  std::string const file = scratch_ / "lines.txt";
  write_file(file, "one\n\nthree");
  Logger const l(scratch_ / "log");
  capture_.clear();
  logger::append_file(file);
  auto const records = traces();
  ASSERT_EQ(records.size(), 4U);
  EXPECT_EQ(records[0], trace(4, " line=one"));
  EXPECT_EQ(records[1], trace(4, " line="));
  EXPECT_EQ(records[2], trace(4, " line=three"));
  EXPECT_EQ(records[3].text.rfind(" msg=Content of the file " + file + "\n", 0), 0U);
}

TEST_F(LoggerTest, AppendFileRefusesBeforeWritingAnything) {
  std::string const log = scratch_ / "refusals.log";
  std::string const present = scratch_ / "present.txt";
  write_file(present, "x\n");
  fs::create_directory(scratch_ / "folder");
  constexpr char const* kUnset = "append_file: The output file destination is not set.";
  constexpr char const* kMissing = "append_file: The file does not exist.";
  struct Case {
    char const* name;
    bool destination;
    std::string file;
    char const* what;
    char const* traced;  // at severity 8; none when null
  };
  Case const cases[] = {
      {"NoDestination", false, present, "Logger destination was not initialized.", kUnset},
      {"NoDestinationNorFile", false, scratch_ / "missing",
       "Logger destination was not initialized.", kUnset},
      {"MissingFile", true, scratch_ / "missing", "The file does not exist.", kMissing},
      {"EmptyName", true, "", "The file does not exist.", kMissing},
      {"Folder", true, scratch_ / "folder", "append_file: Cannot open file.", nullptr},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    std::unique_ptr<Logger> in_force;
    if (c.destination) {
      in_force = std::make_unique<Logger>(log);
    }
    fs::remove(log);
    capture_.clear();
    try {
      logger::append_file(c.file);
      ADD_FAILURE() << "no exception";
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), c.what);
    }
    EXPECT_EQ(traces(),
              c.traced ? std::vector<TraceRecord>{trace(8, c.traced)} : std::vector<TraceRecord>{});
    EXPECT_FALSE(fs::exists(log));
    EXPECT_TRUE(fs::is_empty(tmp_));
  }
}

}  // namespace
}  // namespace install::cpputil
