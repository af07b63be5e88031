/// @file
/// Platform settings that callers may override. Both functions are thread-safe; the next query of
/// the installation root (SandboxWorkflowDetector) sees the change.
#ifndef INSTALL_CPPUTIL_PLATFORM_HPP
#define INSTALL_CPPUTIL_PLATFORM_HPP

#include "install/cpputil/export.hpp"
#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

/// Makes `root` the installation root, in place of the folder above the library's own folder.
INSTALL_CPPUTIL_EXPORT void set_install_path(ustring const& root);

/// Drops the override of set_install_path.
INSTALL_CPPUTIL_EXPORT void reset_install_path();

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_PLATFORM_HPP
