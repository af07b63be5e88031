// The tool's calls to POSIX: signals through sigtimedwait, /proc/self/exe.
#include <csignal>

#include <pthread.h>

#include "install/cpputil/interrupt.hpp"

#include "install-cpputil/system.hpp"

namespace install_cpputil_tool {
namespace {

// One relay at a time, so its signal sets can live here, out of the header.
sigset_t stop_signals;
sigset_t previous_mask;

}  // namespace

std::filesystem::path own_path() {
  std::error_code ignored;
  return std::filesystem::canonical("/proc/self/exe", ignored);
}

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
