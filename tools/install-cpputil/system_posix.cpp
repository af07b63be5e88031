// The tool's calls to POSIX: signals through sigtimedwait, /proc/self/exe, stat and opens that
// never block.
#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "install/cpputil/interrupt.hpp"

#include "install-cpputil/system.hpp"

namespace install_cpputil_tool {
namespace {

// One relay at a time, so its signal sets can live here, out of the header.
sigset_t stop_signals;
sigset_t previous_mask;

std::string error_text(int error) { return std::generic_category().message(error); }

// Anonymous pipes all live on one file system of their own, so one made here shows its device.
bool is_anonymous_pipe(struct stat const& info) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) {
    return false;
  }
  struct stat own {};
  bool const same = ::fstat(ends[0], &own) == 0 && own.st_dev == info.st_dev;
  ::close(ends[0]);
  ::close(ends[1]);
  return same;
}

}  // namespace

std::filesystem::path own_path() {
  std::error_code ignored;
  return std::filesystem::canonical("/proc/self/exe", ignored);
}

std::optional<std::string> input_problem(std::string const& file, bool pipes) {
  struct stat info {};
  if (::stat(file.c_str(), &info) != 0) {
    return error_text(errno);
  }
  if (S_ISDIR(info.st_mode)) {
    return "is a folder, not a file";
  }
  if (S_ISFIFO(info.st_mode)) {
    if (pipes && is_anonymous_pipe(info)) {
      return std::nullopt;
    }
    return pipes ? "is a named pipe, not a file" : "is a pipe, not a file";
  }
  if (!S_ISREG(info.st_mode)) {
    return "is not a regular file";
  }
  // Non-blocking, should a named pipe have taken the file's place since stat.
  int const fd =
      ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);  // NOLINT(*-pro-type-vararg)
  if (fd < 0) {
    return error_text(errno);
  }
  ::close(fd);
  return std::nullopt;
}

std::optional<std::string> log_problem(std::string const& file) {
  struct stat info {};
  if (::stat(file.c_str(), &info) == 0 && S_ISFIFO(info.st_mode)) {
    return "is a pipe, not a file";
  }
  return std::nullopt;
}

bool standard_output_is_terminal() { return ::isatty(STDOUT_FILENO) == 1; }

StopRelay::StopRelay() {
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  // Blocked before the thread starts, so every thread inherits the mask and only sigtimedwait
  // below ever sees these signals.
  pthread_sigmask(SIG_BLOCK, &stop_signals, &previous_mask);
  thread_ = std::thread([this] { run(); });
}

StopRelay::~StopRelay() {
  stop_ = true;
  thread_.join();
  pthread_sigmask(SIG_SETMASK, &previous_mask, nullptr);
}

void StopRelay::run() {
  timespec const poll{0, 100'000'000};
  while (!stop_) {
    int const signal = sigtimedwait(&stop_signals, nullptr, &poll);
    if (signal > 0) {
      int none = 0;
      status_.compare_exchange_strong(none, 128 + signal);
      install::cpputil::interrupt::set();
    }
  }
}

}  // namespace install_cpputil_tool
