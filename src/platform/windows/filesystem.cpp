#include "platform/filesystem.hpp"

#include <filesystem>
#include <string>

#include <windows.h>

#include "platform/windows/wide.hpp"

namespace install::cpputil::platform {
std::filesystem::path native_path(ustring const& text) { return wide(text); }

ustring temp_directory_name() {
  return grown_text([](wchar_t* buffer, DWORD size) { return ::GetTempPathW(size, buffer); });
}

// The module that holds this function's code, whatever the DLL was named or loaded as.
ustring const& loaded_library_file() {
  static ustring const file = []() -> ustring {
    HMODULE module = nullptr;
    if (::GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&loaded_library_file), &module) == 0) {
      return {};
    }
    return grown_text([module](wchar_t* buffer, DWORD size) {
      DWORD const length = ::GetModuleFileNameW(module, buffer, size);
      return length == size ? size : length;  // truncated: grow and ask again
    });
  }();
  return file;
}

}  // namespace install::cpputil::platform
