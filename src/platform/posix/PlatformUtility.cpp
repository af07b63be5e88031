#include "platform/PlatformUtility.hpp"

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace install::cpputil::platform {
namespace {

constexpr std::size_t kMaxTimeText = std::size_t{64} * 1024;

// Made once and never freed: the time stamp must not depend on the process's own locale.
locale_t classic_locale() {
  static locale_t const locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

}  // namespace

// An instance interface, so that another platform's implementation may keep state.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
std::string PlatformUtility::getPlatformUserName() const {
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  int error = 0;
  while ((error = ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found)) ==
             ERANGE &&
         buffer.size() < (1U << 20U)) {
    buffer.resize(buffer.size() * 2);
  }
  if (error == 0 && found != nullptr && found->pw_name != nullptr && *found->pw_name != '\0') {
    return found->pw_name;
  }
  for (char const* variable : {"USER", "LOGNAME"}) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): read only.
    char const* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') {
      return value;
    }
  }
  return "unknown";
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): as above
std::string PlatformUtility::getPlatformCurrentTime(std::string const& pattern) const {
  std::time_t const now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  std::string text(64, '\0');
  while (!pattern.empty() && text.size() <= kMaxTimeText) {
    std::size_t const length =
        ::strftime_l(text.data(), text.size(), pattern.c_str(), &local, classic_locale());
    if (length > 0) {
      text.resize(length);
      return text;
    }
    text.resize(text.size() * 4);  // 0 means the text did not fit (or is really empty)
  }
  return {};
}

}  // namespace install::cpputil::platform
