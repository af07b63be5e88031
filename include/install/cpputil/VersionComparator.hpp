/// @file
/// Numeric comparison of dotted version numbers: 1.10 > 1.9, and 1.2 == 1.2.0.
/// Stateless and thread-safe; callers may derive from it across the library boundary.
#ifndef INSTALL_CPPUTIL_VERSIONCOMPARATOR_HPP
#define INSTALL_CPPUTIL_VERSIONCOMPARATOR_HPP

#include <string>
#include <vector>

#include "install/cpputil/export.hpp"
#include "install/cpputil/ustring.hpp"

namespace install::cpputil {

/// Compares dotted version numbers; a caller's class may override the comparison.
class INSTALL_CPPUTIL_EXPORT VersionComparator {
 public:
  VersionComparator() = default;
  ///@{
  /// Copyable and movable, so that derived classes can be.
  VersionComparator(VersionComparator const&) = default;
  VersionComparator(VersionComparator&&) = default;
  VersionComparator& operator=(VersionComparator const&) = default;
  VersionComparator& operator=(VersionComparator&&) = default;
  ///@}
  virtual ~VersionComparator();

  /// -1, 0 or 1. Pieces are read as std::stoi reads them, up to the first difference; a piece
  /// without a number throws std::invalid_argument, one beyond 32 bits std::out_of_range.
  virtual int compareVersionNumbers(ustring const& first, ustring const& second) const;

  /// The pieces between the dots: "1..2" => {"1", "", "2"}, "1.2." => {"1", "2"}, "" => {}.
  std::vector<std::string> tokenizeString(std::string const& version) const;
};

}  // namespace install::cpputil

#endif  // INSTALL_CPPUTIL_VERSIONCOMPARATOR_HPP
