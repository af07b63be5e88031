// The tool's calls to POSIX: signals taken by a thread of their own, stat and opens that never
// block; and on Linux, the program's own path.
#include <cerrno>
#include <charconv>
#include <chrono>
#include <csignal>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "install/cpputil/interrupt.hpp"

#include "install-cpputil/system.hpp"

namespace install_cpputil_tool {
namespace {

// One relay or hold at a time, so their signal sets can live here, out of the header.
sigset_t stop_signals;
sigset_t previous_mask;

std::string error_text(int error) { return std::generic_category().message(error); }

// A pipe this process holds open already, as `<(...)` passes one: a name that ends in the
// number of a descriptor (/dev/fd/63) and leads to that descriptor's pipe.
bool is_held_pipe(std::string_view file, struct stat const& info) {
  std::string_view const number = file.substr(file.rfind('/') + 1);  // npos + 1 is 0
  char const* const end = number.data() + number.size();
  int descriptor = -1;
  auto const parsed = std::from_chars(number.data(), end, descriptor);
  struct stat held {};
  return parsed.ec == std::errc() && parsed.ptr == end && ::fstat(descriptor, &held) == 0 &&
         held.st_dev == info.st_dev && held.st_ino == info.st_ino;
}

}  // namespace

std::filesystem::path own_path() {
#if defined(__linux__)
  std::error_code ignored;
  return std::filesystem::canonical("/proc/self/exe", ignored);
#else
  return {};  // POSIX names no running program's file
#endif
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
    if (pipes && is_held_pipe(file, info)) {
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

std::vector<std::string> utf8_arguments(int argc, char** argv) { return {argv, argv + argc}; }

bool standard_output_is_terminal() { return ::isatty(STDOUT_FILENO) == 1; }

StopRelay::StopRelay() {
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  // Blocked before the thread starts, so every thread inherits the mask and only sigwait below
  // ever takes these signals.
  pthread_sigmask(SIG_BLOCK, &stop_signals, &previous_mask);
  thread_ = std::thread([this] { run(); });
}

StopRelay::~StopRelay() {
  stop_ = true;
  thread_.join();
  pthread_sigmask(SIG_SETMASK, &previous_mask, nullptr);
}

// sigwait takes only a signal that is pending already: it would wait past the relay's end.
void StopRelay::run() {
  while (!stop_) {
    sigset_t pending;
    int signal = 0;
    if (sigpending(&pending) != 0 ||
        (sigismember(&pending, SIGINT) != 1 && sigismember(&pending, SIGTERM) != 1) ||
        sigwait(&stop_signals, &signal) != 0) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      continue;
    }
    int none = 0;
    status_.compare_exchange_strong(none, 128 + signal);
    install::cpputil::interrupt::set();
  }
}

// Blocked, the signals stay pending until asked for; restoring the mask delivers one that came
// after the last question, with no work in hand any more.
StopHold::StopHold() {
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, &previous_mask);
}

StopHold::~StopHold() { pthread_sigmask(SIG_SETMASK, &previous_mask, nullptr); }

int StopHold::exit_status() noexcept {
  sigset_t pending;
  int signal = 0;
  if (status_ == 0 && sigpending(&pending) == 0 &&
      (sigismember(&pending, SIGINT) == 1 || sigismember(&pending, SIGTERM) == 1) &&
      sigwait(&stop_signals, &signal) == 0) {
    status_ = 128 + signal;
  }
  return status_;
}

}  // namespace install_cpputil_tool
