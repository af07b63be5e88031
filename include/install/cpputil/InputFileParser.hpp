/// @file
/// The installer's input file: lines of "key = value" settings and dotted list lines
/// ("product.Name"), with blank lines and "#" comment lines, read into a property map.
/// Stateless: any number of threads may parse at once. Each kept line is traced on the channel
/// "install::cpputil::InputFileParser".
#ifndef INSTALL_CPPUTIL_INPUTFILEPARSER_HPP
#define INSTALL_CPPUTIL_INPUTFILEPARSER_HPP

#include <map>
#include <string>
#include <variant>
#include <vector>

#include "install/cpputil/export.hpp"
#include "install/cpputil/ustring.hpp"

namespace install::cpputil {

/// A single setting's text, or a list setting's entries in line order.
using PropertyValue = std::variant<ustring, std::vector<ustring>>;
/// Keys are trimmed and lower-cased by stringToLowerCase, under the process's locale.
using PropertyMap = std::map<ustring, PropertyValue>;

/// Reads the input file and turns its settings text into a PropertyMap. The file's grammar, its
/// text encoding and its byte-order mark: @ref input-file "The input file".
class InputFileParser {
 public:
  /// The settings text of the file: every line trimmed, blank and comment lines dropped, each
  /// kept line ended by one line feed. Throws std::runtime_error("input file does not exist!").
  INSTALL_CPPUTIL_EXPORT std::string getUserInputsFromFile(ustring const& path) const;

  /// Without leading and trailing whitespace: exactly space, `\t`, `\n`, `\v`, `\f` and `\r`,
  /// whatever the locale.
  INSTALL_CPPUTIL_EXPORT std::string trim(std::string const& text) const;
  /// trim at the start only.
  INSTALL_CPPUTIL_EXPORT std::string ltrim(std::string const& text) const;
  /// trim at the end only.
  INSTALL_CPPUTIL_EXPORT std::string rtrim(std::string const& text) const;
  /// Byte-wise tolower of the C library, under the process's locale (LC_CTYPE): ASCII letters
  /// only in the "C" locale, which every program starts in. Keys are case-insensitive only as
  /// far as it goes: after setlocale(LC_ALL, "") under a Turkish locale "ID" becomes "Id" and
  /// "TITLE" "tItle", and under a single-byte locale non-ASCII bytes of keys change too. Parse
  /// in the "C" locale, or the default one.
  INSTALL_CPPUTIL_EXPORT std::string stringToLowerCase(std::string const& text) const;

  /// getUserInputsFromFile, then convertInputsToPropertyMap.
  INSTALL_CPPUTIL_EXPORT PropertyMap parse(ustring const& path);
  /// The map of a settings text; bytes after the last line feed are not read.
  INSTALL_CPPUTIL_EXPORT PropertyMap convertInputsToPropertyMap(std::string const& settings);
  /// Every '_' becomes ' ', in place.
  INSTALL_CPPUTIL_EXPORT void removeUnderscores(ustring& text);
};

}  // namespace install::cpputil

/// Whether a line carries a setting: false when it begins with '#' or is only whitespace.
INSTALL_CPPUTIL_EXPORT bool shouldAppend(std::string const& line);

#endif  // INSTALL_CPPUTIL_INPUTFILEPARSER_HPP
