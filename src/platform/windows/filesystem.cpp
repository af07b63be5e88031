#include "platform/filesystem.hpp"

#include <filesystem>
#include <string>

#include <windows.h>

namespace install::cpputil::platform {
namespace {

// Calls `fill(buffer, size)`, which answers like GetModuleFileNameW or GetTempPathW, with ever
// larger buffers up to the longest path the system allows.
template <typename Fill>
ustring grown_text(Fill fill) {
  constexpr DWORD kLongestPath = 32768;
  std::wstring buffer(MAX_PATH + 1, L'\0');
  for (;;) {
    DWORD const length = fill(buffer.data(), static_cast<DWORD>(buffer.size()));
    if (length == 0) {
      return {};
    }
    if (length < buffer.size()) {
      return {buffer.begin(), buffer.begin() + length};
    }
    if (buffer.size() > kLongestPath) {
      return {};
    }
    buffer.resize(std::max<std::size_t>(buffer.size() * 2, length + 1));
  }
}

}  // namespace

std::filesystem::path native_path(ustring const& text) {
  return std::wstring(text.begin(), text.end());
}

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
