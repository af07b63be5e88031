// A plain, unoptimised reading of the input file format, written independently of the
// library's parser so that tests and fuzz targets can compare the two on any input.
#ifndef INSTALL_CPPUTIL_TESTS_SUPPORT_REFERENCEGRAMMAR_HPP
#define INSTALL_CPPUTIL_TESTS_SUPPORT_REFERENCEGRAMMAR_HPP

#include <string>

#include "install/cpputil/InputFileParser.hpp"

namespace install::cpputil::reference {

std::string ltrim(std::string const& text);
std::string rtrim(std::string const& text);
std::string trim(std::string const& text);
std::string lower(std::string const& text);
bool should_append(std::string const& line);

/// The settings text of a file with these bytes.
std::string settings_text(std::string const& file_bytes);
PropertyMap convert(std::string const& settings);

}  // namespace install::cpputil::reference

#endif  // INSTALL_CPPUTIL_TESTS_SUPPORT_REFERENCEGRAMMAR_HPP
