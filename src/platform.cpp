#include "install/cpputil/platform.hpp"

#include "platform/filesystem.hpp"

namespace install::cpputil::platform {

void set_install_path(ustring const& root) { override_install_path(root); }

void reset_install_path() { override_install_path(std::nullopt); }

}  // namespace install::cpputil::platform
