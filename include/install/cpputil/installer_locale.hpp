/// @file
/// The installer's locale name: language, "_", region, as the system's messages locale gives.
#ifndef INSTALL_CPPUTIL_INSTALLER_LOCALE_HPP
#define INSTALL_CPPUTIL_INSTALLER_LOCALE_HPP

#include "install/cpputil/export.hpp"
#include "install/cpputil/ustring.hpp"

namespace install::cpputil::installer_locale {

/// For instance u"en_US". The underscore is always there, even when a code is empty.
/// Read afresh on every call; thread-safe.
INSTALL_CPPUTIL_EXPORT ustring getLocale();

}  // namespace install::cpputil::installer_locale

#endif  // INSTALL_CPPUTIL_INSTALLER_LOCALE_HPP
