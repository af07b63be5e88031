// The tool's calls to Windows: a console control handler, GetModuleFileNameW.
#include <vector>

#include <windows.h>

#include "install/cpputil/interrupt.hpp"

#include "install-cpputil/system.hpp"

namespace install_cpputil_tool {
namespace {

// Shared with the console handler, which runs on a thread of the system's: it only sets the
// status and wakes the relay. The events are made once and never closed, so a handler that
// runs late never sees a closed handle.
std::atomic<int> stop_status{0};
HANDLE wake = nullptr;      // auto-reset: a request came, or the relay is ending
HANDLE finished = nullptr;  // manual-reset: the relay has ended

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

}  // namespace

std::filesystem::path own_path() {
  std::vector<wchar_t> name(MAX_PATH);
  for (;;) {
    DWORD const size = GetModuleFileNameW(nullptr, name.data(), static_cast<DWORD>(name.size()));
    if (size == 0) {
      return {};
    }
    if (size < name.size()) {
      return std::wstring(name.data(), size);
    }
    name.resize(name.size() * 2);  // cut short: a long path
  }
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

}  // namespace install_cpputil_tool
