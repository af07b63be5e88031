// append_message against its floor: a C loop that stamps the same record and opens, locks,
// writes and closes the file for each one, plainly or with the log's other guarantees; and
// through the C interface beside the C++ call. spdlog's file sink, flushed on every record but
// kept open, is there for context. Then append_file's peak memory. Every file lives in a scratch
// folder that is removed at the end.
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include "install/cpputil/cpputil.h"
#include "install/cpputil/logger.hpp"

namespace {

namespace fs = std::filesystem;
using install::cpputil::utf8_to_ustring;
namespace logger = install::cpputil::logger;

std::string const kMessage = "Copying file /opt/product/lib/libexample.so.1 to the staging area";

fs::path& scratch() {
  static fs::path folder;
  return folder;
}

std::string file_in_scratch(char const* name) { return (scratch() / name).string(); }

// "(<time stamp>) <message>\n" into `record`; its length.
std::size_t c_record(char (&record)[512], char const* message, std::size_t length) {
  std::time_t const now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  record[0] = '(';
  std::size_t size = 1 + std::strftime(record + 1, sizeof record - 1, "%b %d, %Y %H:%M:%S", &local);
  record[size++] = ')';
  record[size++] = ' ';
  std::memcpy(record + size, message, length);
  size += length;
  record[size++] = '\n';
  return size;
}

// The whole record in one write, as append_message does. The mutex and the file lock give the
// floor the same guarantee as ours when threads and processes share the file: time stamps never
// go back along it.
std::mutex floor_mutex;
void c_floor_append(char const* path, char const* message, std::size_t length) {
  std::lock_guard<std::mutex> const lock(floor_mutex);
  char record[512];
  std::size_t const size = c_record(record, message, length);
  int const fd = ::open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);  // NOLINT
  if (fd >= 0) {
    ::flock(fd, LOCK_EX);
    benchmark::DoNotOptimize(::write(fd, record, size));
    ::close(fd);
  }
}

// The floor with the log's other guarantees, as plainly as C gives them: the lock waited for a
// bounded time, a line feed first where a killed writer left a line open, and SIGXFSZ held back
// for the write.
void c_guarded_floor_append(char const* path, char const* message, std::size_t length) {
  std::lock_guard<std::mutex> const lock(floor_mutex);
  char record[512];
  std::size_t const size = c_record(record, message, length);
  int const fd = ::open(path, O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666);  // NOLINT
  if (fd >= 0) {
    for (int waited = 0; ::flock(fd, LOCK_EX | LOCK_NB) != 0 && waited < 3000; ++waited) {
      ::usleep(1000);
    }
    struct stat info {};
    char last = '\n';
    if (::fstat(fd, &info) == 0 && info.st_size > 0) {
      benchmark::DoNotOptimize(::pread(fd, &last, 1, info.st_size - 1));
    }
    sigset_t signal;
    sigset_t saved;
    sigemptyset(&signal);
    sigaddset(&signal, SIGXFSZ);
    ::pthread_sigmask(SIG_BLOCK, &signal, &saved);
    if (last != '\n') {
      benchmark::DoNotOptimize(::write(fd, "\n", 1));
    }
    benchmark::DoNotOptimize(::write(fd, record, size));
    ::pthread_sigmask(SIG_SETMASK, &saved, nullptr);
    ::close(fd);
  }
}

void BM_CFloor(benchmark::State& state) {
  std::string const path = file_in_scratch("floor.log");
  for (auto _ : state) {
    c_floor_append(path.c_str(), kMessage.data(), kMessage.size());
  }
}

void BM_CFloorGuarded(benchmark::State& state) {
  std::string const path = file_in_scratch("guarded.log");
  for (auto _ : state) {
    c_guarded_floor_append(path.c_str(), kMessage.data(), kMessage.size());
  }
}

// The Logger is made once by main(): Loggers are not made from several threads at once.
void BM_AppendMessageUtf8(benchmark::State& state) {
  for (auto _ : state) {
    logger::append_message(kMessage);
  }
}

void BM_AppendMessageThroughC(benchmark::State& state) {
  for (auto _ : state) {
    install_cpputil_append_message(kMessage.c_str());
  }
}

void BM_AppendMessageUtf16(benchmark::State& state) {
  auto const message = utf8_to_ustring(kMessage);
  for (auto _ : state) {
    logger::append_message(message);
  }
}

std::shared_ptr<spdlog::logger> const& spd() {
  static auto const made = [] {
    auto made = spdlog::basic_logger_mt("bench", file_in_scratch("spdlog.log"));
    made->set_pattern("(%b %d, %Y %H:%M:%S) %v");
    made->flush_on(spdlog::level::trace);
    return made;
  }();
  return made;
}

void BM_SpdlogFileSinkFlushed(benchmark::State& state) {
  auto const& log = spd();
  for (auto _ : state) {
    log->info(kMessage);
  }
}

long resident_pages() {
  std::ifstream statm("/proc/self/statm");
  long size = 0;
  long resident = 0;
  statm >> size >> resident;
  return resident;
}

// Reports the resident set's growth over the timed records; it must stay at zero.
void BM_AppendMessageMemory(benchmark::State& state) {
  fs::resize_file(file_in_scratch("ours.log"), 0);  // a million records would fill the scratch
  for (int i = 0; i < 10000; ++i) {                 // warm the allocator and the page cache first
    logger::append_message(kMessage);
  }
  long const before = resident_pages();
  for (auto _ : state) {
    logger::append_message(kMessage);
  }
  long const after = resident_pages();
  state.counters["rss_growth_kB"] =
      static_cast<double>((after - before) * ::sysconf(_SC_PAGESIZE) / 1024);
}

// The peak of the resident set while a large file is copied into the log, over what it was, and
// as a multiple of the file's size. Counted from a reset of the peak (/proc/self/clear_refs), so
// earlier benchmarks do not weigh in; the page cache is not part of the resident set.
long resident_kb(char const* field) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field, 0) == 0) {
      return std::stol(line.substr(std::strlen(field)));
    }
  }
  return -1;
}

void BM_AppendFilePeakMemory(benchmark::State& state) {
  std::string const file = file_in_scratch("large.txt");
  {
    std::ofstream out(file, std::ios::binary);
    std::string const line(99, 'x');
    for (std::int64_t written = 0; written < state.range(0) << 20; written += 100) {
      out << line << '\n';
    }
  }
  double peak_ratio = 0;
  long peak_kb = 0;
  for (auto _ : state) {
    fs::resize_file(file_in_scratch("ours.log"), 0);
    std::ofstream("/proc/self/clear_refs") << "5";
    long const before = resident_kb("VmRSS:");
    logger::append_file(file);
    long const peak = resident_kb("VmHWM:");
    peak_kb = peak - before;
    peak_ratio = static_cast<double>(peak_kb) * 1024 / static_cast<double>(fs::file_size(file));
  }
  state.counters["peak_growth_kB"] = static_cast<double>(peak_kb);
  state.counters["peak_per_file_size"] = peak_ratio;
  fs::remove(file);
  fs::resize_file(file_in_scratch("ours.log"), 0);
}

// 64 MiB and 1 GiB: the copy is made in pieces, so the peak must not grow with the file.
BENCHMARK(BM_AppendFilePeakMemory)
    ->Arg(64)
    ->Arg(1024)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CFloor)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_CFloorGuarded)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_AppendMessageUtf8)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_AppendMessageThroughC)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_AppendMessageUtf16)->UseRealTime();
BENCHMARK(BM_SpdlogFileSinkFlushed)->Threads(1)->Threads(2)->Threads(4)->UseRealTime();
BENCHMARK(BM_AppendMessageMemory)->Iterations(1000000)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  std::string pattern = (fs::temp_directory_path() / "cpputil-bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    std::perror("mkdtemp");
    return 1;
  }
  scratch() = pattern;
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  {
    logger::Logger const destination(file_in_scratch("ours.log"));
    benchmark::RunSpecifiedBenchmarks();
  }
  spdlog::shutdown();
  benchmark::Shutdown();
  std::error_code ignored;
  fs::remove_all(scratch(), ignored);
  return 0;
}
