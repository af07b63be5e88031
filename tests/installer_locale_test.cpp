#include "install/cpputil/installer_locale.hpp"

#include <optional>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#if defined(_WIN32)
#include <windows.h>
#endif

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

#if defined(_WIN32)
// Its own CTest entry sets LC_ALL, which Wine makes the user's locale at start: one with a
// script (sr-Latn-RS). The codes as another query of Windows tells them are the result.
TEST(InstallerLocale, CodesOfTheUserDefaultLocale) {
  wchar_t language[16] = {};
  wchar_t region[16] = {};
  ASSERT_GT(::GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, LOCALE_SISO639LANGNAME, language, 16), 0);
  ASSERT_GT(::GetLocaleInfoEx(LOCALE_NAME_USER_DEFAULT, LOCALE_SISO3166CTRYNAME, region, 16), 0);
  std::wstring const expected = std::wstring(language) + L"_" + region;
  EXPECT_EQ(installer_locale::getLocale(), ustring(expected.begin(), expected.end()));
}
#else
TEST(InstallerLocale, JoinsTheCodesOfTheFirstNonEmptyVariableAndTracesNothing) {
  using Var = std::optional<std::string>;
  Var const none;
  // LC_ALL, LC_MESSAGES, LANG, result
  std::tuple<Var, Var, Var, ustring> const cases[] = {
      {"de_DE.UTF-8", "fr_FR", "it_IT", u"de_DE"},
      {"", "fr_FR.UTF-8@euro", "it_IT", u"fr_FR"},
      {none, "", "sr_RS@latin", u"sr_RS"},
      {"C", "fr_FR", "it_IT", u"en_US"},  // set, so it wins, and means en_US
      {none, none, "POSIX", u"en_US"},
      {none, none, none, u"en_US"},
      {none, none, "fr", u"fr_"}};
  testing::TraceCapture capture("install::cpputil::InstallerLocale", 0xFFFFFFFF);
  for (auto const& [lc_all, lc_messages, lang, expected] : cases) {
    testing::ScopedEnv const all("LC_ALL", lc_all);
    testing::ScopedEnv const messages("LC_MESSAGES", lc_messages);
    testing::ScopedEnv const language("LANG", lang);
    EXPECT_EQ(installer_locale::getLocale(), expected) << lang.value_or("-");
  }
  EXPECT_EQ(capture.take(), "");
}
#endif

}  // namespace
}  // namespace install::cpputil
