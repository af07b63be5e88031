#include "platform/locale.hpp"

#include <array>

#include <windows.h>

#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

// Windows keeps one user locale for every category.
SystemLocale get_locale(int /*category*/) {
  std::array<wchar_t, LOCALE_NAME_MAX_LENGTH> name{};
  int const length = ::GetUserDefaultLocaleName(name.data(), static_cast<int>(name.size()));
  if (length <= 1) {
    return parse_windows_locale_name({});
  }
  // Without the terminating NUL.
  return parse_windows_locale_name(
      ustring_to_utf8(ustring(name.begin(), name.begin() + length - 1)));
}

}  // namespace install::cpputil::platform
