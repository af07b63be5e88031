// Text as the W functions take and give it, for the Windows sources of the platform layer.
#ifndef INSTALL_CPPUTIL_SRC_PLATFORM_WINDOWS_WIDE_HPP
#define INSTALL_CPPUTIL_SRC_PLATFORM_WINDOWS_WIDE_HPP

#include <algorithm>
#include <string>

#include <windows.h>

#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

/// The same UTF-16 code units: wchar_t is 16 bits on Windows.
inline std::wstring wide(ustring const& text) { return {text.begin(), text.end()}; }

/// Calls `fill(buffer, size)`, which answers as GetTempPathW and GetEnvironmentVariableW do (the
/// length written, or the size needed when the buffer is too small, or 0 on failure), with ever
/// larger buffers up to the longest path the system allows. Empty on failure.
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

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_SRC_PLATFORM_WINDOWS_WIDE_HPP
