// The installation log under faults of its file system and under concurrent use: an
// executable of its own, so that its threads and long runs stay apart from the unit tests.
#include <atomic>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "install/cpputil/logger.hpp"

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

namespace fs = std::filesystem;
using logger::Logger;

constexpr char const* kChannel = "install::cpputil::logger";
using Bodies = std::vector<std::string>;

// The bodies of a log's records. A line that is not a whole record, or a time stamp earlier
// than the one before it, fails the test.
Bodies bodies_of(fs::path const& path) {
  Bodies bodies;
  std::ifstream in(path, std::ios::binary);
  std::tuple<int, int, int, int, int, int> previous{};
  for (std::string line; std::getline(in, line);) {
    std::tm parts{};
    std::istringstream record(line);
    record.imbue(std::locale::classic());
    if (!(record >> std::get_time(&parts, "(%b %d, %Y %H:%M:%S) "))) {
      ADD_FAILURE() << path << ": not a record: " << line;
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

class LoggerFaults : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directory(tmp_);
    capture_.enable(kChannel, 4);
  }
  // The bodies of the records that were lost and traced.
  Bodies lost() const {
    Bodies bodies;
    for (auto const& text : capture_.texts(kChannel)) {
      if (text.rfind("failed to open destination_file for u8msg (", 0) == 0) {
        bodies.push_back(text.substr(text.find(") ") + 2));
      }
    }
    return bodies;
  }

  testing::ScratchDir scratch_;
  std::string tmp_ = scratch_ / "tmp";
  testing::ScopedEnv tmpdir_{testing::kTempVariable, tmp_};
  testing::TraceCapture capture_;
};

TEST_F(LoggerFaults, FolderRemovedThenRecreated) {
  std::string const folder = scratch_ / "logs";
  Logger const l(folder + "/install.log");
  fs::remove_all(folder);
  logger::append_message(std::string("lost"));
  EXPECT_FALSE(fs::exists(folder)) << "only a Logger makes the folder";
  fs::create_directory(folder);
  logger::append_message(std::string("after"));
  EXPECT_EQ(bodies_of(folder + "/install.log"), Bodies{"after"});
  EXPECT_EQ(lost(), Bodies{"lost"});
  EXPECT_TRUE(fs::is_empty(tmp_)) << "a lost record does not go to the default log";
}

TEST_F(LoggerFaults, FolderWithoutWritePermission) {
  if (!testing::permissions_bind()) {
    GTEST_SKIP() << "permissions do not bind root, and Windows folders have no write bit";
  }
  std::string const locked = scratch_ / "locked";
  fs::create_directory(locked);
  testing::write_file(locked + "/read-only.log", "");
  fs::permissions(locked + "/read-only.log", fs::perms::owner_read);
  fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec);
  std::string const log = scratch_ / "open.log";
  Logger const l(log);
  for (std::string const name : {"/sub/x.log", "/x.log", "/read-only.log"}) {
    EXPECT_THROW(Logger(locked + name), std::runtime_error) << name;
    EXPECT_EQ(logger::get_destination().string(), log);
  }
  EXPECT_EQ(bodies_of(log).size(), 3U) << "a notice for each refusal";

  fs::permissions(log, fs::perms::owner_read);  // taken away after the destination was set
  logger::append_message(std::string("refused"));
  EXPECT_EQ(lost(), Bodies{"refused"});
}

TEST_F(LoggerFaults, FullDeviceLosesRecordsSilently) {
  if (!fs::exists("/dev/full")) {
    GTEST_SKIP() << "no /dev/full";
  }
  Logger const l(std::string("/dev/full"));
  logger::append_message(std::string("nowhere"));
  EXPECT_TRUE(lost().empty()) << "the open succeeds; only the write fails";
  EXPECT_TRUE(fs::is_empty(tmp_));
}

// Writers append while another thread keeps replacing the destination, and now and then ends
// every Logger so that records fall back to the default log. No record may be lost, doubled
// or torn, and time stamps never go back along a file.
TEST_F(LoggerFaults, ConcurrentAppendsWhileTheDestinationChanges) {
  constexpr int kWriters = 4;
  constexpr int kMessages = 2000;
  auto const message = [](int n) { return "message " + std::to_string(n) + std::string(48, '.'); };

  std::vector<std::unique_ptr<Logger>> alive;
  std::atomic<int> writing{kWriters};
  std::thread replacer([&] {
    for (int k = 0; writing.load() > 0; ++k) {
      if (k % 5 == 4) {
        alive.clear();  // the first ends the destination, the others find none
      } else {
        alive.push_back(std::make_unique<Logger>(scratch_ / ("log" + std::to_string(k % 16))));
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
  EXPECT_TRUE(lost().empty());
  EXPECT_GT(files_with_messages.size(), 1U);
}

}  // namespace
}  // namespace install::cpputil
