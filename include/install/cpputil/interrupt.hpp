/// @file
/// The process-wide interrupt flag: a user's cancel reaches long-running work as an exception.
/// Every function may be called from any thread; the flag is a lock-free atomic boolean with
/// sequentially consistent loads and stores. Steps are traced on "install::cpputil::interrupt".
#ifndef INSTALL_CPPUTIL_INTERRUPT_HPP
#define INSTALL_CPPUTIL_INTERRUPT_HPP

#include <stdexcept>
#include <string>

#include "install/cpputil/export.hpp"

namespace install::cpputil::interrupt {

// libc++ tells caught types apart by the address of their type_info, so there this class's
// type_info leaves the library for every binary to share; libstdc++ compares names, and it
// stays inside.
#if defined(_LIBCPP_VERSION)
#define INSTALL_CPPUTIL_INTERRUPT_EXCEPTION INSTALL_CPPUTIL_EXPORT
#else
#define INSTALL_CPPUTIL_INTERRUPT_EXCEPTION
#endif

/// Thrown by throw_if_set: what() is "Interrupted." or "Interrupted. " + tag. Only the
/// library constructs it; any binary can catch it by its own type or as std::runtime_error.
class INSTALL_CPPUTIL_INTERRUPT_EXCEPTION Exception : public std::runtime_error {
 public:
  /// what() is "Interrupted.".
  Exception();
  /// what() is "Interrupted. " + tag.
  explicit Exception(std::string const& tag);
};

/// The flag's value. One atomic load while the flag is clear.
INSTALL_CPPUTIL_EXPORT bool is_set() noexcept;

/// Throws Exception when the flag is set. The flag stays set.
INSTALL_CPPUTIL_EXPORT void throw_if_set(std::string const& tag);

/// Sets the flag; it stays set until detail::unset.
/// Not async-signal-safe while tracing is on: the trace takes locks and allocates. Do not call it
/// from a signal handler. On POSIX, block SIGINT and SIGTERM before any thread starts, so that
/// every thread inherits the mask, and take them with sigwait on a thread of your own that calls
/// it; on Windows the console control handler runs on a thread of its own and may call it.
/// examples/cancel does both.
INSTALL_CPPUTIL_EXPORT void set() noexcept;

namespace detail {
/// Clears the flag.
INSTALL_CPPUTIL_EXPORT void unset() noexcept;
}  // namespace detail

namespace test {
/// When the environment variable `name` is defined (even empty), polls the flag every 100 ms for
/// about a minute and throws Exception("env " + name + " is set.") as soon as it is set.
/// Returns at once when the variable is not defined. `name` must not be null.
INSTALL_CPPUTIL_EXPORT void pause_and_throw_if_set(char const* name);
}  // namespace test

}  // namespace install::cpputil::interrupt

#endif  // INSTALL_CPPUTIL_INTERRUPT_HPP
