#include "install/cpputil/installer_locale.hpp"

#include <string>

#include "platform/locale.hpp"
#include "trace/trace.hpp"

namespace install::cpputil::installer_locale {
namespace {

// Registered like every module's channel so that its mask can be configured, though nothing
// here is worth a record.
trace::DiagnosticLogger const channel("install::cpputil::InstallerLocale");

}  // namespace

ustring getLocale() {
  auto const locale = platform::get_locale(platform::kMessagesCategory);
  return utf8_to_ustring(locale.language() + "_" + locale.region());
}

}  // namespace install::cpputil::installer_locale
