// The current user's name and the current time.
#ifndef INSTALL_CPPUTIL_SRC_PLATFORM_PLATFORMUTILITY_HPP
#define INSTALL_CPPUTIL_SRC_PLATFORM_PLATFORMUTILITY_HPP

#include <string>

namespace install::cpputil::platform {

class PlatformUtility {
 public:
  /// The password database's name for the effective user; else USER, LOGNAME, "unknown".
  std::string getPlatformUserName() const;
  /// The local time formatted by strftime `pattern` in the "C" locale (UTF-8).
  std::string getPlatformCurrentTime(std::string const& pattern) const;
};

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_SRC_PLATFORM_PLATFORMUTILITY_HPP
