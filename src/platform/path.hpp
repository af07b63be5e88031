// Path text rules (pure) and the file-system operations on Path values.
#ifndef INSTALL_CPPUTIL_SRC_PLATFORM_PATH_HPP
#define INSTALL_CPPUTIL_SRC_PLATFORM_PATH_HPP

#include "install/cpputil/Path.hpp"
#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

/// Runs of separators collapse into one; with `strip_trailing`, a trailing separator goes
/// too, except for the root itself. Nothing is resolved: "a/../b" stays as it is.
ustring make_native_form(ustring const& text, bool strip_trailing);

/// The text before the last separator, trailing separators ignored:
///   "/a/b" => "/a", "/a" => "/", "a/b/" => "a", "a" => "", "/" => "", "" => ""
ustring extract_parent_path(ustring const& text);

/// Appends `name` as a further component: path + "/" + name, or just name when path is empty.
void concatenate_pathname(ustring& path, ustring const& name);

/// Whether an entry exists at the path (following symbolic links). False for an empty path
/// and whenever the entry cannot be examined.
bool exists(Path const& path);

/// Creates the folder and its missing ancestors. True when it created the last one.
/// Throws std::system_error naming the path when a folder cannot be made.
bool create_directories(Path const& path);

/// TMPDIR when set and not empty, otherwise "/tmp", as it stands.
ustring temp_directory_name();

/// The override of set_install_path, or the folder above the one holding the library file.
/// Throws std::runtime_error when neither gives a root.
ustring get_install_path();

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_SRC_PLATFORM_PATH_HPP
