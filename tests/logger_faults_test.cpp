// The installation log under faults of its file system and under concurrent use: an
// executable of its own, so that its threads and long runs stay apart from the unit tests.
#include <atomic>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "install/cpputil/logger.hpp"

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using logger::Logger;
using testing::ScopedEnv;
using testing::ScratchDir;
using testing::TraceCapture;
using testing::write_file;

constexpr char const* kChannel = "install::cpputil::logger";
constexpr std::size_t kStampLength = 21;  // "Nov 16, 2026 17:46:51"

struct Record {
  std::time_t time = 0;
  std::string body;
};

// Splits a log into records; a line that is not a whole record fails the test.
std::vector<Record> records_of(fs::path const& path) {
  std::vector<Record> records;
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    if (line.size() < kStampLength + 3 || line[0] != '(' ||
        line.compare(kStampLength + 1, 2, ") ") != 0) {
      ADD_FAILURE() << path << ": not a record: " << line;
      continue;
    }
    std::tm parts{};
    std::string const stamp = line.substr(1, kStampLength);
    if (::strptime(stamp.c_str(), "%b %d, %Y %H:%M:%S", &parts) != stamp.c_str() + kStampLength) {
      ADD_FAILURE() << path << ": bad time stamp: " << line;
      continue;
    }
    parts.tm_isdst = -1;
    records.push_back({std::mktime(&parts), line.substr(kStampLength + 3)});
  }
  return records;
}

std::vector<std::string> bodies_of(fs::path const& path) {
  std::vector<std::string> bodies;
  for (auto& record : records_of(path)) {
    bodies.push_back(std::move(record.body));
  }
  return bodies;
}

class LoggerFaults : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(tmp_);
    capture_.enable(kChannel, 12);
  }
  void TearDown() override { logger::detail::forget_last_destination(); }

  std::vector<std::string> failed_opens() const {
    std::vector<std::string> failures;
    for (auto const& text : capture_.texts(kChannel)) {
      if (text.rfind("failed to open destination_file for u8msg ", 0) == 0) {
        failures.push_back(text.substr(text.find(") ") + 2));
      }
    }
    return failures;
  }

  ScratchDir scratch_;
  std::string tmp_ = scratch_ / "tmp";
  ScopedEnv tmpdir_{"TMPDIR", tmp_};
  TraceCapture capture_;
};

TEST_F(LoggerFaults, FolderRemovedThenRecreated) {
  std::string const folder = scratch_ / "logs";
  std::string const log = folder + "/install.log";
  Logger const l(log);
  logger::append_message(std::string("before"));
  fs::remove_all(folder);
  EXPECT_NO_THROW(logger::append_message(std::string("lost")));
  EXPECT_FALSE(fs::exists(folder)) << "the folder of a destination is made only by a Logger";
  fs::create_directory(folder);
  logger::append_message(std::string("after"));

  EXPECT_EQ(bodies_of(log), std::vector<std::string>{"after"});
  EXPECT_EQ(failed_opens(), std::vector<std::string>{"lost"});
  EXPECT_TRUE(fs::is_empty(tmp_)) << "a lost record does not go to the default log";
}

TEST_F(LoggerFaults, FolderWithoutWritePermission) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "permissions do not bind root";
  }
  std::string const locked = scratch_ / "locked";
  fs::create_directory(locked);
  std::string const log = scratch_ / "open.log";
  write_file(scratch_ / "locked/read-only.log", "");
  fs::permissions(scratch_ / "locked/read-only.log", fs::perms::owner_read);
  fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec);

  Logger const l(log);
  struct Case {
    std::string destination;
    std::string what;
  };
  Case const cases[] = {
      {locked + "/sub/x.log", "Install Logger: Cannot create directory \"" + locked + "/sub\""},
      {locked + "/x.log", "Install Logger: Cannot open file \"" + locked + "/x.log\""},
      {locked + "/read-only.log",
       "Install Logger: Cannot open file \"" + locked + "/read-only.log\""},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.destination);
    try {
      Logger const refused(c.destination);
      ADD_FAILURE() << "no exception";
    } catch (std::runtime_error const& error) {
      EXPECT_EQ(error.what(), c.what);
    }
    EXPECT_EQ(logger::get_destination().string(), log);
  }
  EXPECT_EQ(bodies_of(log),
            (std::vector<std::string>{
                "Unable to create specified folder for installation log " + locked + "/sub",
                "Unable to create specified file for installation log " + locked + "/x.log",
                "Unable to create specified file for installation log " + locked + "/read-only.log",
            }));

  // A destination that loses its write permission after it was set.
  fs::permissions(log, fs::perms::owner_read);
  EXPECT_NO_THROW(logger::append_message(std::string("refused")));
  EXPECT_EQ(failed_opens(), std::vector<std::string>{"refused"});
}

TEST_F(LoggerFaults, FullDevice) {
  if (!fs::exists("/dev/full")) {
    GTEST_SKIP() << "no /dev/full";
  }
  std::string const side = scratch_ / "side.txt";
  write_file(side, "one\ntwo\n");
  {
    Logger const l(std::string("/dev/full"));
    EXPECT_NO_THROW(logger::append_message(std::string("nowhere")));
    EXPECT_NO_THROW(logger::append_file(side));
  }
  EXPECT_EQ(logger::detail::get_last_destination().string(), "/dev/full");
  // The open succeeds; the write fails and is ignored.
  EXPECT_TRUE(failed_opens().empty());
  EXPECT_TRUE(fs::is_empty(tmp_));
}

// Writers append while another thread keeps replacing the destination, and now and then ends
// every Logger so that records fall back to the default log. No record may be lost, doubled
// or torn, and time stamps never go back along a file.
TEST_F(LoggerFaults, ConcurrentAppendsWhileTheDestinationChanges) {
  constexpr int kWriters = 4;
  constexpr int kMessages = 2000;
  constexpr int kFiles = 16;
  std::string const padding(48, '.');
  auto const message = [&](int writer, int index) {
    return "writer " + std::to_string(writer) + " message " + std::to_string(index) + padding;
  };

  std::vector<std::unique_ptr<Logger>> alive;
  alive.push_back(std::make_unique<Logger>(scratch_ / "log0.log"));
  std::atomic<int> writing{kWriters};
  std::atomic<int> replacements{0};
  std::thread replacer([&] {
    for (int k = 1; writing.load() > 0; ++k) {
      if (k % 5 == 0) {
        alive.clear();  // the first ends the destination, the others find none
      } else {
        alive.push_back(
            std::make_unique<Logger>(scratch_ / ("log" + std::to_string(k % kFiles) + ".log")));
      }
      ++replacements;
      std::this_thread::yield();
    }
  });
  std::vector<std::thread> writers;
  writers.reserve(kWriters);
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([&, w] {
      for (int i = 0; i < kMessages; ++i) {
        if (w % 2 == 0) {
          logger::append_message(message(w, i));
        } else {
          logger::append_message(utf8_to_ustring(message(w, i)));
        }
      }
      --writing;
    });
  }
  for (auto& writer : writers) {
    writer.join();
  }
  replacer.join();
  alive.clear();
  EXPECT_GT(replacements.load(), 1);

  std::vector<int> seen(static_cast<std::size_t>(kWriters) * kMessages, 0);
  std::map<std::string, int> counts;
  for (fs::path const& folder : {scratch_.path(), fs::path(tmp_)}) {
    for (auto const& entry : fs::directory_iterator(folder)) {
      if (!entry.is_regular_file()) {
        continue;
      }
      SCOPED_TRACE(entry.path().string());
      std::time_t previous = 0;
      for (auto const& record : records_of(entry.path())) {
        EXPECT_GE(record.time, previous);
        previous = record.time;
        if (record.body.rfind("Reset destination file log ", 0) == 0) {
          continue;
        }
        std::istringstream words(record.body);
        std::string word;
        int writer = -1;
        int index = -1;
        if (!(words >> word >> writer >> word >> index) || writer < 0 || writer >= kWriters ||
            index < 0 || index >= kMessages || record.body != message(writer, index)) {
          ADD_FAILURE() << "torn record: " << record.body;
          continue;
        }
        ++seen[static_cast<std::size_t>(writer) * kMessages + static_cast<std::size_t>(index)];
        ++counts[entry.path().filename().string()];
      }
    }
  }
  for (std::size_t k = 0; k < seen.size(); ++k) {
    ASSERT_EQ(seen[k], 1) << "writer " << k / kMessages << " message " << k % kMessages;
  }
  EXPECT_TRUE(failed_opens().empty());
  EXPECT_GT(counts.size(), 1U);
}

}  // namespace
}  // namespace install::cpputil
