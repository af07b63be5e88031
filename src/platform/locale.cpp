#include "platform/locale.hpp"

namespace install::cpputil::platform {

SystemLocale parse_locale_name(std::string_view name) {
  name = name.substr(0, name.find('@'));
  name = name.substr(0, name.find('.'));
  if (name.empty() || name == "C" || name == "POSIX") {
    return {"en", "US"};
  }
  auto const underscore = name.find('_');
  if (underscore == std::string_view::npos) {
    return {std::string(name), std::string()};
  }
  return {std::string(name.substr(0, underscore)), std::string(name.substr(underscore + 1))};
}

}  // namespace install::cpputil::platform
