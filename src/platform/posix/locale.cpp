#include "platform/locale.hpp"

#include <cstdlib>

namespace install::cpputil::platform {
namespace {

char const* non_empty_env(char const* name) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the locale variables are read, never written.
  char const* value = name == nullptr ? nullptr : std::getenv(name);
  return value != nullptr && *value != '\0' ? value : nullptr;
}

}  // namespace

SystemLocale get_locale(int category) {
  char const* const category_variable = category == kMessagesCategory ? "LC_MESSAGES" : nullptr;
  for (char const* variable : {"LC_ALL", category_variable, "LANG"}) {
    if (char const* value = non_empty_env(variable)) {
      return parse_locale_name(value);
    }
  }
  return parse_locale_name({});
}

}  // namespace install::cpputil::platform
