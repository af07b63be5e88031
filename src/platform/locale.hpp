// The system locale's language and region codes.
#ifndef INSTALL_CPPUTIL_SRC_PLATFORM_LOCALE_HPP
#define INSTALL_CPPUTIL_SRC_PLATFORM_LOCALE_HPP

#include <string>
#include <string_view>
#include <utility>

namespace install::cpputil::platform {

inline constexpr int kMessagesCategory = 1;

class SystemLocale {
 public:
  SystemLocale(std::string language, std::string region)
      : language_(std::move(language)), region_(std::move(region)) {}
  std::string const& language() const noexcept { return language_; }
  std::string const& region() const noexcept { return region_; }

 private:
  std::string language_;
  std::string region_;
};

/// language[_REGION][.codeset][@modifier]: "de_DE.UTF-8@euro" => {de, DE}, "fr" => {fr, ""};
/// "C", "POSIX" (with any codeset) and "" => {en, US}.
SystemLocale parse_locale_name(std::string_view name);

/// A Windows locale name, language[-Script][-REGION][-variant][_sort]: "en-US" => {en, US},
/// "zh-Hans-CN" => {zh, CN}, "es-419" => {es, 419}, "fr" => {fr, ""}; "" (invariant) => {en, US}.
SystemLocale parse_windows_locale_name(std::string_view name);

/// POSIX: the locale that the environment names for `category`, read afresh on each call: LC_ALL,
/// then the category's own variable (LC_MESSAGES for kMessagesCategory), then LANG.
/// Windows: the user's default locale, whatever the category.
SystemLocale get_locale(int category);

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_SRC_PLATFORM_LOCALE_HPP
