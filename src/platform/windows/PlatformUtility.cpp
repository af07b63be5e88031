#include "platform/PlatformUtility.hpp"

#include <array>
#include <clocale>
#include <ctime>
#include <string>

#include <windows.h>

#include "install/cpputil/ustring.hpp"

#include "platform/windows/wide.hpp"

namespace install::cpputil::platform {
namespace {

constexpr std::size_t kMaxTimeText = std::size_t{64} * 1024;

// Made once and never freed: the time stamp must not depend on the process's own locale.
_locale_t classic_locale() {
  static auto* const locale = ::_create_locale(LC_ALL, "C");
  return locale;
}

ustring environment_variable(wchar_t const* name) {
  return grown_text([name](wchar_t* buffer, DWORD size) {
    return ::GetEnvironmentVariableW(name, buffer, size);
  });
}

}  // namespace

// An instance interface, so that another platform's implementation may keep state.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
std::string PlatformUtility::getPlatformUserName() const {
  std::array<wchar_t, 257> name{};  // UNLEN + 1
  auto size = static_cast<DWORD>(name.size());
  if (::GetUserNameW(name.data(), &size) != 0 && size > 1) {
    return ustring_to_utf8(ustring(name.begin(), name.begin() + size - 1));  // size counts the NUL
  }
  ustring const variable = environment_variable(L"USERNAME");
  return variable.empty() ? std::string("unknown") : ustring_to_utf8(variable);
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): as above
std::string PlatformUtility::getPlatformCurrentTime(std::string const& pattern) const {
  __time64_t const now = ::_time64(nullptr);
  std::tm local{};
  if (::_localtime64_s(&local, &now) != 0 || classic_locale() == nullptr) {
    return {};
  }
  std::wstring const format = wide(utf8_to_ustring(pattern));
  std::wstring text(64, L'\0');
  while (!format.empty() && text.size() <= kMaxTimeText) {
    std::size_t const length =
        ::_wcsftime_l(text.data(), text.size(), format.c_str(), &local, classic_locale());
    // Some runtimes fill the buffer and answer its length rather than 0: a full buffer may be
    // cut short too.
    if (length > 0 && length + 1 < text.size()) {
      return ustring_to_utf8(ustring(text.begin(), text.begin() + static_cast<long>(length)));
    }
    text.resize(text.size() * 4);
  }
  return {};
}

}  // namespace install::cpputil::platform
