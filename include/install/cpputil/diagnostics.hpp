/// @file
/// Configuration of the library's diagnostic trace channels.
///
/// Records go to the process's Boost.Log core with the attributes "Channel" (std::string) and
/// "Severity" (int); the library writes severities 4 (detail) and 8 (event). A channel traces a
/// severity S only while its mask has S's bit set. Every mask is 0 until configured here or by
/// the environment variable INSTALL_CPPUTIL_TRACE, read once when the library loads:
///   INSTALL_CPPUTIL_TRACE="*=12,install::cpputil::logger=4"   (masks in decimal or 0x hex)
/// Channels: install::cpputil::interrupt, install::cpputil::logger,
///           install::cpputil::InputFileParser, install::cpputil::InstallerLocale.
#ifndef INSTALL_CPPUTIL_DIAGNOSTICS_HPP
#define INSTALL_CPPUTIL_DIAGNOSTICS_HPP

#include <cstdint>
#include <string>

#include "install/cpputil/export.hpp"

namespace install::cpputil::diagnostics {

/// Sets the enabled-severities mask of `channel`; "*" sets every channel, those made later
/// included. Takes effect at the channel's next trace statement. Thread-safe.
INSTALL_CPPUTIL_EXPORT void set_channel_mask(std::string const& channel, std::uint32_t mask);

/// The mask of `channel` ("*": the mask that channels not configured by name get). Thread-safe.
INSTALL_CPPUTIL_EXPORT std::uint32_t channel_mask(std::string const& channel);

}  // namespace install::cpputil::diagnostics

#endif  // INSTALL_CPPUTIL_DIAGNOSTICS_HPP
