/// @file
/// A file-system path value, held as UTF-16 text in the platform's native form.
#ifndef INSTALL_CPPUTIL_PATH_HPP
#define INSTALL_CPPUTIL_PATH_HPP

#include <string>

#include "install/cpputil/export.hpp"
#include "install/cpputil/ustring.hpp"

namespace install::cpputil {

/// An empty Path names no file. A non-empty text is kept in native form, on POSIX:
///   "/opt//app/" => "/opt/app", "/" => "/", "a//b" => "a/b", "../x" => "../x".
/// Dots and symbolic links are never resolved.
class INSTALL_CPPUTIL_EXPORT Path {
 public:
  Path() = default;
  /// Empty for an empty text, otherwise the text in native form.
  explicit Path(ustring const& text);

  /// The native-form text.
  ustring const& text() const noexcept { return text_; }
  /// The text as UTF-8.
  std::string string() const;
  /// Whether the Path names no file.
  bool empty() const noexcept { return text_.empty(); }

  ///@{
  /// Compares the texts, code unit for code unit.
  friend bool operator==(Path const& a, Path const& b) noexcept { return a.text_ == b.text_; }
  friend bool operator!=(Path const& a, Path const& b) noexcept { return a.text_ != b.text_; }
  ///@}

 private:
  ustring text_;
};

}  // namespace install::cpputil

#endif  // INSTALL_CPPUTIL_PATH_HPP
