// The library's trace records on standard error, through a Boost.Log sink of the program's own
// that shows each record's channel and severity:
//   [install::cpputil::InputFileParser] 4  line=Mode = typical
// Usage: trace_to_stderr INPUT_FILE LOG_FILE
//
// Build it against the shared Boost.Log with BOOST_LOG_DYN_LINK defined, as CMake's Boost::log
// target does: the sink must join the one logging core that the library writes into.
#include <exception>
#include <iostream>
#include <string>

#include <boost/log/expressions.hpp>
#include <boost/log/utility/setup/console.hpp>

#include "install/cpputil/InputFileParser.hpp"
#include "install/cpputil/diagnostics.hpp"
#include "install/cpputil/logger.hpp"

namespace cpputil = install::cpputil;

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: trace_to_stderr INPUT_FILE LOG_FILE\n";
    return 2;
  }
  namespace expr = boost::log::expressions;
  boost::log::add_console_log(
      std::clog, boost::log::keywords::format =
                     (expr::stream << '[' << expr::attr<std::string>("Channel") << "] "
                                   << expr::attr<int>("Severity") << ' ' << expr::smessage));
  cpputil::diagnostics::set_channel_mask("*", 4 | 8);  // details and events of every channel

  try {
    cpputil::logger::Logger const log{std::string(argv[2])};
    cpputil::InputFileParser().parse(cpputil::utf8_to_ustring(argv[1]));
    cpputil::logger::append_message("Input file read.");
  } catch (std::exception const& error) {
    std::cerr << "trace_to_stderr: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
