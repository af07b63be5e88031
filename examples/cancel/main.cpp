// Ctrl-C cancels long-running work: the request reaches interrupt::set on a thread that may
// call it, the work's next interrupt::throw_if_set throws, and the handler records the cancel
// in the installation log. Usage: cancel_on_ctrl_c LOG_FILE [STEPS]; exit status 130 when
// cancelled.
#include <atomic>
#include <chrono>
#include <iostream>
#include <string>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#else
#include <csignal>

#include <pthread.h>
#endif

#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/logger.hpp"

namespace cpputil = install::cpputil;

namespace {

// While it lives, Ctrl-C (and on POSIX SIGTERM) sets the interrupt flag. Made first in main.
class CancelOnCtrlC {
 public:
#ifdef _WIN32
  CancelOnCtrlC() { SetConsoleCtrlHandler(on_event, TRUE); }
  ~CancelOnCtrlC() { SetConsoleCtrlHandler(on_event, FALSE); }
#else
  // interrupt::set may trace, which locks and allocates, so a signal handler must not call it.
  // The signals are blocked instead, before any other thread exists, since threads inherit the
  // mask of the thread that makes them; then only sigwait on our own thread ever takes them.
  CancelOnCtrlC() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, &previous_);
    thread_ = std::thread([this] {
      int signal = 0;
      while (sigwait(&signals_, &signal) == 0 && !ending_) {
        cpputil::interrupt::set();
      }
    });
  }
  ~CancelOnCtrlC() {
    ending_ = true;
    pthread_kill(thread_.native_handle(), SIGTERM);  // wakes sigwait
    thread_.join();
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }
#endif
  CancelOnCtrlC(CancelOnCtrlC const&) = delete;
  CancelOnCtrlC& operator=(CancelOnCtrlC const&) = delete;
  CancelOnCtrlC(CancelOnCtrlC&&) = delete;
  CancelOnCtrlC& operator=(CancelOnCtrlC&&) = delete;

 private:
#ifdef _WIN32
  // Windows runs the handler on a thread of its own, not in a signal's context: it may call
  // interrupt::set itself.
  static BOOL WINAPI on_event(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
      return FALSE;
    }
    cpputil::interrupt::set();
    return TRUE;
  }
#else
  sigset_t signals_{};
  sigset_t previous_{};
  std::atomic<bool> ending_{false};
  std::thread thread_;
#endif
};

// The work, under the Logger that main holds, so that the cancel lands in that log.
int work(int steps) {
  try {
    cpputil::logger::append_message("Work begun.");
    for (int step = 1; step <= steps; ++step) {
      cpputil::interrupt::throw_if_set("at step " + std::to_string(step));
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    cpputil::logger::append_message("Work finished.");
    return 0;
  } catch (cpputil::interrupt::Exception const& cancelled) {
    cpputil::logger::append_message(cancelled.what());  // "Interrupted. at step 7"
    std::cerr << cancelled.what() << '\n';
    return 130;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    std::cerr << "usage: cancel_on_ctrl_c LOG_FILE [STEPS]\n";
    return 2;
  }
  CancelOnCtrlC const cancel;
  try {
    cpputil::logger::Logger const log{std::string(argv[1])};
    std::cout << "Working; press Ctrl-C to cancel." << std::endl;
    return work(argc == 3 ? std::stoi(argv[2]) : 50);
  } catch (std::exception const& error) {  // the log cannot be made, or STEPS is no number
    std::cerr << "cancel_on_ctrl_c: " << error.what() << '\n';
    return 1;
  }
}
