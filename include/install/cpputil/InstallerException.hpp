/// @file
/// The exception type offered to installer components, and error locations.
/// The library itself never throws InstallerException; callers do.
#ifndef INSTALL_CPPUTIL_INSTALLEREXCEPTION_HPP
#define INSTALL_CPPUTIL_INSTALLEREXCEPTION_HPP

#include <stdexcept>
#include <string>

#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// Carries an error code, a primary and a secondary message and a location. what() is the
/// secondary message. The class has no out-of-line virtual function, so every binary that
/// throws or catches it has its type information and can catch it by its own type.
class InstallerException : public std::runtime_error {
 public:
  /// Keeps the four texts; what() is secondaryErrorMessage.
  INSTALL_CPPUTIL_EXPORT InstallerException(std::string errorCode, std::string primaryErrorMessage,
                                            std::string secondaryErrorMessage,
                                            std::string location);
  /// Only the secondary message (and what()); the other three texts are empty.
  INSTALL_CPPUTIL_EXPORT explicit InstallerException(std::string message);

  ///@{
  /// The texts given at construction, as copies.
  INSTALL_CPPUTIL_EXPORT std::string getErrorCode() const;
  INSTALL_CPPUTIL_EXPORT std::string getPrimaryErrorMessage() const;
  INSTALL_CPPUTIL_EXPORT std::string getSecondaryErrorMessage() const;
  INSTALL_CPPUTIL_EXPORT std::string getLocation() const;
  ///@}

 private:
  std::string errorCode;
  std::string primaryErrorMessage;
  std::string secondaryErrorMessage;
  std::string location;
};

/// first + "::" + second; just first when second is empty or equal to first (byte-wise).
///   ("install::cpputil", "interrupt") => "install::cpputil::interrupt", ("", "x") => "::x"
INSTALL_CPPUTIL_EXPORT std::string createLocation(std::string const& first,
                                                  std::string const& second);

}  // namespace install::cpputil

#endif  // INSTALL_CPPUTIL_INSTALLEREXCEPTION_HPP
