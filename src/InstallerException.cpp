#include "install/cpputil/InstallerException.hpp"

#include <utility>

namespace install::cpputil {

// The base is built from a copy before the fields take the moved texts.
InstallerException::InstallerException(std::string errorCode, std::string primaryErrorMessage,
                                       std::string secondaryErrorMessage, std::string location)
    : std::runtime_error(secondaryErrorMessage),
      errorCode(std::move(errorCode)),
      primaryErrorMessage(std::move(primaryErrorMessage)),
      secondaryErrorMessage(std::move(secondaryErrorMessage)),
      location(std::move(location)) {}

InstallerException::InstallerException(std::string message)
    : std::runtime_error(message), secondaryErrorMessage(std::move(message)) {}

std::string InstallerException::getErrorCode() const { return errorCode; }
std::string InstallerException::getPrimaryErrorMessage() const { return primaryErrorMessage; }
std::string InstallerException::getSecondaryErrorMessage() const { return secondaryErrorMessage; }
std::string InstallerException::getLocation() const { return location; }

std::string createLocation(std::string const& first, std::string const& second) {
  if (second.empty() || first == second) {
    return first;
  }
  std::string joined;
  joined.reserve(first.size() + 2 + second.size());
  joined.append(first).append("::").append(second);
  return joined;
}

}  // namespace install::cpputil
