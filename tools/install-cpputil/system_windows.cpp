// The tool's calls to Windows: a console control handler, GetModuleFileNameW, file handles.
#include <cwchar>
#include <system_error>

// shellapi.h needs what windows.h declares first.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/ustring.hpp"

#include "install-cpputil/system.hpp"

namespace install_cpputil_tool {
namespace {

// Shared with the console handler, which runs on a thread of the system's: it only sets the
// status and wakes the relay. The events are made once and never closed, so a handler that
// runs late never sees a closed handle.
std::atomic<int> stop_status{0};
HANDLE wake = nullptr;      // auto-reset: a request came, or the relay is ending
HANDLE finished = nullptr;  // manual-reset: the relay has ended

std::string error_text(DWORD error) {
  return std::system_category().message(static_cast<int>(error));
}

BOOL WINAPI on_console_event(DWORD event) {
  int none = 0;
  stop_status.compare_exchange_strong(none, event == CTRL_C_EVENT ? 130 : 143);
  SetEvent(wake);
  if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT) {
    // Windows ends the process as soon as this returns: give the work a while to unwind and
    // write its last records.
    WaitForSingleObject(finished, 4000);
  }
  return TRUE;
}

// The hold's handler: a request waits until the hold ends, where closing the console, which
// ends the process once the handler returns, is given a while for the work in hand.
std::atomic<int> held_status{0};
HANDLE hold_ended = nullptr;  // manual-reset, made once and never closed

BOOL WINAPI on_held_console_event(DWORD event) {
  int none = 0;
  held_status.compare_exchange_strong(none, event == CTRL_C_EVENT ? 130 : 143);
  if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT) {
    WaitForSingleObject(hold_ended, 4000);
  }
  return TRUE;
}

}  // namespace

std::filesystem::path own_path() {
  std::wstring name(32768, L'\0');  // the longest path Windows has: no retry with a larger one
  DWORD const size = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
  if (size == 0 || size == name.size()) {
    return {};
  }
  name.resize(size);
  return name;
}

// Nothing in the file system blocks on opening here: a file or a device, but never a pipe
// without a writer, so a handle opened and closed at once tells what reading it would meet.
std::optional<std::string> input_problem(std::string const& file, bool /*pipes*/) {
  std::filesystem::path const name(install::cpputil::utf8_to_ustring(file));
  DWORD const attributes = GetFileAttributesW(name.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    return error_text(GetLastError());
  }
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return "is a folder, not a file";
  }
  HANDLE handle = CreateFileW(name.c_str(), GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    return error_text(GetLastError());
  }
  DWORD const type = GetFileType(handle);
  CloseHandle(handle);
  if (type != FILE_TYPE_DISK) {
    return "is not a regular file";
  }
  return std::nullopt;
}

std::optional<std::string> log_problem(std::string const& /*file*/) { return std::nullopt; }

std::vector<std::string> utf8_arguments(int argc, char** argv) {
  int count = 0;
  LPWSTR* const wide = CommandLineToArgvW(GetCommandLineW(), &count);
  if (wide == nullptr) {
    return {argv, argv + argc};
  }
  std::vector<std::string> arguments;
  arguments.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    arguments.push_back(install::cpputil::ustring_to_utf8(
        install::cpputil::ustring(wide[i], wide[i] + std::wcslen(wide[i]))));
  }
  LocalFree(static_cast<HLOCAL>(wide));
  return arguments;
}

bool standard_output_is_terminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != 0;
}

StopRelay::StopRelay() {
  if (wake == nullptr) {
    wake = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    finished = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  }
  stop_status = 0;
  ResetEvent(finished);
  thread_ = std::thread([this] { run(); });
  SetConsoleCtrlHandler(on_console_event, TRUE);
}

StopRelay::~StopRelay() {
  SetConsoleCtrlHandler(on_console_event, FALSE);
  stop_ = true;
  SetEvent(wake);
  thread_.join();
  SetEvent(finished);
}

void StopRelay::run() {
  while (WaitForSingleObject(wake, INFINITE) == WAIT_OBJECT_0 && !stop_) {
    if (int const status = stop_status; status != 0) {
      status_ = status;
      install::cpputil::interrupt::set();
    }
  }
}

StopHold::StopHold() {
  if (hold_ended == nullptr) {
    hold_ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  }
  held_status = 0;
  ResetEvent(hold_ended);
  SetConsoleCtrlHandler(on_held_console_event, TRUE);
}

StopHold::~StopHold() {
  SetConsoleCtrlHandler(on_held_console_event, FALSE);
  SetEvent(hold_ended);
}

int StopHold::exit_status() noexcept {
  if (status_ == 0) {
    status_ = held_status;
  }
  return status_;
}

}  // namespace install_cpputil_tool
