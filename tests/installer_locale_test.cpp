#include "install/cpputil/installer_locale.hpp"

#include <optional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "support/Scratch.hpp"
#include "support/TraceCapture.hpp"

namespace install::cpputil {
namespace {

using testing::ScopedEnv;
using Var = std::optional<std::string>;

struct LocaleCase {
  char const* name;
  Var lc_all;
  Var lc_messages;
  Var lang;
  ustring expected;
};
LocaleCase const kLocaleCases[] = {
    {"LcAllFirst", "de_DE.UTF-8", "fr_FR", "it_IT", u"de_DE"},
    {"EmptyLcAllSkipped", "", "fr_FR.UTF-8@euro", "it_IT", u"fr_FR"},
    {"LangLast", std::nullopt, std::nullopt, "pt_BR.UTF-8", u"pt_BR"},
    {"Modifier", std::nullopt, "sr_RS@latin", std::nullopt, u"sr_RS"},
    {"NothingSet", std::nullopt, std::nullopt, std::nullopt, u"en_US"},
    {"AllEmpty", "", "", "", u"en_US"},
    {"C", std::nullopt, std::nullopt, "C", u"en_US"},
    {"CUtf8", std::nullopt, std::nullopt, "C.UTF-8", u"en_US"},
    {"Posix", "POSIX", std::nullopt, "de_DE", u"en_US"},
    {"NoRegion", std::nullopt, "fr", std::nullopt, u"fr_"},
    {"NoLanguage", std::nullopt, std::nullopt, "_US", u"_US"},
    {"NeitherCode", std::nullopt, std::nullopt, "_", u"_"},
    {"CaseKept", std::nullopt, std::nullopt, "EN_us", u"EN_us"},
    {"Utf8Codes", std::nullopt, std::nullopt, "x\xC3\xA9_\xC3\x89", u"x\u00E9_\u00C9"},
};

void PrintTo(LocaleCase const& c, std::ostream* out) { *out << c.name; }

class InstallerLocale : public ::testing::TestWithParam<LocaleCase> {};

TEST_P(InstallerLocale, JoinsTheMessagesLocaleCodes) {
  auto const& c = GetParam();
  ScopedEnv const lc_all("LC_ALL", c.lc_all);
  ScopedEnv const lc_messages("LC_MESSAGES", c.lc_messages);
  ScopedEnv const lang("LANG", c.lang);
  EXPECT_EQ(installer_locale::getLocale(), c.expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, InstallerLocale, ::testing::ValuesIn(kLocaleCases),
                         [](auto const& info) { return std::string(info.param.name); });

TEST(InstallerLocaleTrace, ChannelStaysSilentWithEveryBitSet) {
  testing::TraceCapture capture;
  capture.enable("install::cpputil::InstallerLocale", 0xFFFFFFFF);
  ScopedEnv const lang("LANG", "de_DE");
  installer_locale::getLocale();
  ScopedEnv const lc_all("LC_ALL", "C");
  installer_locale::getLocale();
  EXPECT_TRUE(capture.records().empty());
}

}  // namespace
}  // namespace install::cpputil
