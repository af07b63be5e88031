#include "platform/locale.hpp"

#include <algorithm>

namespace install::cpputil::platform {
namespace {

// ASCII classes, whatever the process's locale.
bool is_letter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

bool all_of_length(std::string_view text, std::size_t length, bool (*is_class)(char)) {
  return text.size() == length && std::all_of(text.begin(), text.end(), is_class);
}

}  // namespace

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

SystemLocale parse_windows_locale_name(std::string_view name) {
  name = name.substr(0, name.find('_'));
  auto const next_subtag = [&name]() {
    auto const dash = name.find('-');
    std::string_view const subtag = name.substr(0, dash);
    name = dash == std::string_view::npos ? std::string_view() : name.substr(dash + 1);
    return subtag;
  };
  std::string_view const language = next_subtag();
  if (language.empty()) {
    return {"en", "US"};
  }
  std::string_view region = next_subtag();
  if (all_of_length(region, 4, is_letter)) {  // a script
    region = next_subtag();
  }
  if (!all_of_length(region, 2, is_letter) && !all_of_length(region, 3, is_digit)) {
    region = {};
  }
  return {std::string(language), std::string(region)};
}

}  // namespace install::cpputil::platform
