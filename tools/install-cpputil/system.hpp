// What the tool needs of the operating system, from system_posix.cpp or system_windows.cpp.
#ifndef INSTALL_CPPUTIL_TOOLS_SYSTEM_HPP
#define INSTALL_CPPUTIL_TOOLS_SYSTEM_HPP

#include <atomic>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace install_cpputil_tool {

/// The program's arguments in UTF-8. Windows gives main() them in the ANSI code page, which
/// loses what it cannot spell, so they are read from the wide command line there.
std::vector<std::string> utf8_arguments(int argc, char** argv);

/// The running program's file; empty when it cannot be told.
std::filesystem::path own_path();

/// Why `file` cannot be read whole without blocking, or nothing when it can: it must be a
/// regular file that this process may open or, with `pipes`, a pipe that is already open (as
/// `<(...)` gives). Never opens a named pipe, whose opening waits for a writer.
std::optional<std::string> input_problem(std::string const& file, bool pipes);

/// Why a log cannot be written at `file` without blocking, or nothing when it can.
std::optional<std::string> log_problem(std::string const& file);

/// Whether standard output is a terminal (on Windows, a console).
bool standard_output_is_terminal();

/// While it lives, the user's requests to stop (SIGINT and SIGTERM; on Windows Ctrl-C,
/// Ctrl-Break and closing the console) call install::cpputil::interrupt::set() on a thread of
/// the relay's own, since the handlers themselves may neither trace nor lock. One at a time.
class StopRelay {
 public:
  StopRelay();
  ~StopRelay();
  StopRelay(StopRelay const&) = delete;
  StopRelay& operator=(StopRelay const&) = delete;
  StopRelay(StopRelay&&) = delete;
  StopRelay& operator=(StopRelay&&) = delete;

  /// 128 + the signal's number for the first request (130 for Ctrl-C, 143 for the others on
  /// Windows); 0 before any. Set before interrupt::set() is called.
  int exit_status() const noexcept { return status_; }

 private:
  void run();

  std::atomic<int> status_{0};
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

/// While it lives, the user's requests to stop (as for StopRelay) wait for the work in hand,
/// which asks exit_status() between its steps. It has no thread of its own, so it ends at once.
/// A request that came after the last question stops the program as it ends. One at a time.
class StopHold {
 public:
  StopHold();
  ~StopHold();
  StopHold(StopHold const&) = delete;
  StopHold& operator=(StopHold const&) = delete;
  StopHold(StopHold&&) = delete;
  StopHold& operator=(StopHold&&) = delete;

  /// 128 + the signal's number for the first request (130 for Ctrl-C, 143 for the others on
  /// Windows); 0 while none came.
  int exit_status() noexcept;

 private:
  int status_ = 0;
};

}  // namespace install_cpputil_tool

#endif  // INSTALL_CPPUTIL_TOOLS_SYSTEM_HPP
