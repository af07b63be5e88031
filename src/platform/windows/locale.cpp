#include "platform/locale.hpp"

#include <windows.h>

#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

// Windows keeps one user locale for every category.
SystemLocale get_locale(int /*category*/) {
  wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
  int const length = ::GetUserDefaultLocaleName(name, LOCALE_NAME_MAX_LENGTH);
  if (length <= 1) {
    return parse_windows_locale_name({});
  }
  return parse_windows_locale_name(
      ustring_to_utf8(ustring(name, name + length - 1)));  // without the terminating NUL
}

}  // namespace install::cpputil::platform
