// Links nothing but the library: throws InstallerException from this binary and catches both
// exception types by their own type and as std::runtime_error.
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "install/cpputil/InstallerException.hpp"
#include "install/cpputil/interrupt.hpp"

namespace cpputil = install::cpputil;

namespace {

int failures = 0;

void check(bool ok, char const* what) {
  if (!ok) {
    std::fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

}  // namespace

int main() {
  try {
    throw cpputil::InstallerException("7", "primary", "secondary", "main");
  } catch (cpputil::InstallerException const& error) {
    check(error.getErrorCode() == "7", "InstallerException by its own type");
  } catch (...) {
    check(false, "InstallerException by its own type");
  }
  try {
    throw cpputil::InstallerException("message");
  } catch (std::runtime_error const& error) {
    check(std::strcmp(error.what(), "message") == 0, "InstallerException as runtime_error");
  }

  cpputil::interrupt::set();
  try {
    cpputil::interrupt::throw_if_set("boundary");
    check(false, "throw_if_set threw nothing");
  } catch (cpputil::interrupt::Exception const& error) {
    check(std::strcmp(error.what(), "Interrupted. boundary") == 0,
          "interrupt::Exception by its own type");
  } catch (...) {
    check(false, "interrupt::Exception by its own type");
  }
  try {
    cpputil::interrupt::throw_if_set("");
  } catch (std::runtime_error const& error) {
    check(std::strcmp(error.what(), "Interrupted.") == 0, "interrupt::Exception as runtime_error");
  }
  cpputil::interrupt::detail::unset();
  check(!cpputil::interrupt::is_set(), "unset");

  std::printf("%s\n",
              failures == 0 ? "boundary: all caught by their own type" : "boundary: FAILED");
  return failures == 0 ? 0 : 1;
}
