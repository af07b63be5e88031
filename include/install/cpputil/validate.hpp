/// @file
/// Validation of named arguments against rule strings: "strval:a,b,c", "boolval", "intval",
/// "rfile"; any other rule name passes every value. Stateless and thread-safe.
#ifndef INSTALL_CPPUTIL_VALIDATE_HPP
#define INSTALL_CPPUTIL_VALIDATE_HPP

#include <map>
#include <string>

#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// Whether `value` equals one of the comma-separated `allowed` values, byte for byte.
INSTALL_CPPUTIL_EXPORT bool validate_strval(std::string const& value, std::string const& allowed);
/// true, false, yes or no, in any letter case (under the global locale).
INSTALL_CPPUTIL_EXPORT bool validate_boolval(std::string const& value);
/// Whether std::stoi reads a 32-bit integer from the start of `value`.
INSTALL_CPPUTIL_EXPORT bool validate_intval(std::string const& value);
/// Whether the UTF-8 `path` names a readable file of at least one byte.
INSTALL_CPPUTIL_EXPORT bool validate_rfile(std::string const& path);

/// Checks one argument against a rule string (name, optionally ':' and an argument). Throws
/// std::invalid_argument, or std::runtime_error for "rfile" after two lines in the installation
/// log, with the text key='KEY' value='VALUE' rule='RULE' (e.g. key='port' value='abc'
/// rule='intval').
INSTALL_CPPUTIL_EXPORT void validate_arg(std::string const& key, std::string const& value,
                                         std::string const& rule);
/// validate_arg for each argument that has a rule, in key order; the first violation throws.
INSTALL_CPPUTIL_EXPORT void validate_args(std::map<std::string, std::string> const& arguments,
                                          std::map<std::string, std::string> const& rules);

}  // namespace install::cpputil

#endif  // INSTALL_CPPUTIL_VALIDATE_HPP
