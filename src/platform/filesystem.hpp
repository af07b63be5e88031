// The file-system operations on Path values, and the installation root.
#ifndef INSTALL_CPPUTIL_SRC_PLATFORM_FILESYSTEM_HPP
#define INSTALL_CPPUTIL_SRC_PLATFORM_FILESYSTEM_HPP

#include <filesystem>
#include <optional>

#include "install/cpputil/Path.hpp"
#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

/// Whether an entry exists at the path (following symbolic links). False for an empty path,
/// one holding a NUL, and whenever the entry cannot be examined.
bool exists(Path const& path);

/// Creates the folder and its missing ancestors. True when it created the last one.
/// Throws std::system_error naming the path when a folder cannot be made.
bool create_directories(Path const& path);

/// The installation root: the override, or the folder above the one that holds the loaded
/// library file. Throws std::runtime_error when neither gives a root.
ustring get_install_path();

/// Sets the override of the installation root (platform::set_install_path), or drops it.
void override_install_path(std::optional<ustring> root);

// Each system provides these (src/platform/<system>/filesystem.cpp).

/// The path text as the system's file-system library takes it.
std::filesystem::path native_path(ustring const& text);

/// The user's temporary folder, as the system gives it.
ustring temp_directory_name();

/// The absolute path of the loaded library file, taken when the library was loaded; empty when
/// it cannot be told.
ustring const& loaded_library_file();

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_SRC_PLATFORM_FILESYSTEM_HPP
