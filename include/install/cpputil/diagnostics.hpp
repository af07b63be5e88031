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
///
/// Records reach the sinks that the program adds to the core; with none, Boost.Log's default
/// sink prints them on standard output. The library adds none: examples/trace adds one on
/// standard error. A program that includes Boost.Log's headers must link the shared Boost.Log
/// and define BOOST_LOG_DYN_LINK (CMake's Boost::log target does both), since the library
/// writes into the one core of the shared Boost.Log: without the macro the headers name the
/// static library's symbols and the link fails (undefined references to
/// boost::log::v2s_mt_posix::...), and a static Boost.Log gives the program a core of its own,
/// whose sinks never see the library's records. Setting masks needs no Boost at all.
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
