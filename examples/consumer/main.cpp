// A small installer step: log to a file, read the input file, validate it, do some work that a
// cancel can interrupt. Usage: installer_step INPUT_FILE LOG_FILE [--trace]
#include <iostream>
#include <map>
#include <string>

#include "install/cpputil/InputFileParser.hpp"
#include "install/cpputil/VersionComparator.hpp"
#include "install/cpputil/diagnostics.hpp"
#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/validate.hpp"

namespace cpputil = install::cpputil;

namespace {

// The work, under the Logger that main holds: however it ends, the log records it.
int run_step(char const* input_file) {
  try {
    cpputil::logger::append_message("Step begun.");

    cpputil::InputFileParser parser;
    cpputil::PropertyMap const inputs = parser.parse(cpputil::utf8_to_ustring(input_file));

    std::map<std::string, std::string> arguments;
    for (auto const& [key, value] : inputs) {
      if (auto const* text = std::get_if<cpputil::ustring>(&value)) {
        arguments[cpputil::ustring_to_utf8(key)] = cpputil::ustring_to_utf8(*text);
      }
    }
    cpputil::validate_args(arguments, {{"mode", "strval:typical,custom"}, {"port", "intval"}});

    if (cpputil::VersionComparator().compareVersionNumbers(u"10.2.0.1", u"10.2.1") < 0) {
      cpputil::logger::append_message("Upgrading 10.2.0.1 to 10.2.1.");
    }
    for (int part = 1; part <= 3; ++part) {
      cpputil::interrupt::throw_if_set("copying");  // a cancel unwinds from here
      cpputil::logger::append_message("Copied part " + std::to_string(part) + " of 3.");
    }
    cpputil::logger::append_message("Step finished.");
    return 0;
  } catch (cpputil::interrupt::Exception const& cancelled) {
    cpputil::logger::append_message(cancelled.what());  // into the installation log
    return 130;
  } catch (std::exception const& error) {
    cpputil::logger::append_message(std::string("Step failed: ") + error.what());
    std::cerr << "installer_step: " << error.what() << '\n';
    return 1;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    std::cerr << "usage: installer_step INPUT_FILE LOG_FILE [--trace]\n";
    return 2;
  }
  if (argc == 4 && std::string(argv[3]) == "--trace") {
    // With no sink of ours, Boost.Log's default sink prints the records on standard output;
    // examples/trace adds one.
    install::cpputil::diagnostics::set_channel_mask("*", 8);  // events of every channel
    install::cpputil::diagnostics::set_channel_mask("install::cpputil::logger",
                                                    4 | 8);  // and details
  }
  try {
    // Made outside the work's handlers, so that it still stands when they log: a Logger made
    // inside their try is gone by then, and their records land in the default log.
    cpputil::logger::Logger const log{std::string(argv[2])};  // the installation log
    int const status = run_step(argv[1]);
    if (status == 0) {
      std::cout << "log written to " << argv[2] << '\n';
    }
    return status;
  } catch (std::exception const& error) {  // the log cannot be made
    std::cerr << "installer_step: " << error.what() << '\n';
    return 1;
  }
}
