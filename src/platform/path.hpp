// Path text rules, for either path style: pure functions of the text.
#ifndef INSTALL_CPPUTIL_SRC_PLATFORM_PATH_HPP
#define INSTALL_CPPUTIL_SRC_PLATFORM_PATH_HPP

#include "install/cpputil/ustring.hpp"

namespace install::cpputil::platform {

// The rules of both styles are pure text functions, so each style is tested on every system.
enum class PathStyle { posix, windows };
#if defined(_WIN32)
inline constexpr PathStyle kNativeStyle = PathStyle::windows;
#else
inline constexpr PathStyle kNativeStyle = PathStyle::posix;
#endif

/// Runs of separators collapse into one; with `strip_trailing`, a trailing separator goes
/// too, except where it ends a root. Nothing is resolved: "a/../b" stays as it is.
/// Windows: each '/' becomes '\'; the two leading separators of a UNC path stay; "C:\" is a root.
ustring make_native_form(ustring const& text, bool strip_trailing, PathStyle style = kNativeStyle);

/// The text before the last separator, trailing separators ignored, keeping a root's own
/// separator: "/a/b" => "/a", "/a" => "/", "a/b/" => "a", "a" => "", "/" => "", "" => "";
/// Windows: "C:\a" => "C:\", "\\srv\share\a" => "\\srv\share\", "C:\" => "".
ustring extract_parent_path(ustring const& text, PathStyle style = kNativeStyle);

/// Appends `name` as a further component: path + separator + name, or just name when path is
/// empty.
void concatenate_pathname(ustring& path, ustring const& name, PathStyle style = kNativeStyle);

/// The text as one file name: each separator, and on Windows each character that a file name
/// cannot hold, becomes '_': "../a/b" => ".._a_b"; Windows: "a\b:c" => "a_b_c".
ustring single_file_name(ustring text, PathStyle style = kNativeStyle);

/// Whether a path text can name a file at all: a NUL inside it names none.
bool is_nameable(ustring const& text) noexcept;

}  // namespace install::cpputil::platform

#endif  // INSTALL_CPPUTIL_SRC_PLATFORM_PATH_HPP
