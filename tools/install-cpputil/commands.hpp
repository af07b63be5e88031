// The subcommands of install-cpputil. Each returns the process's exit status and reports
// failures by throwing UsageError (exit status 2) with one line naming what is at fault.
#ifndef INSTALL_CPPUTIL_TOOLS_COMMANDS_HPP
#define INSTALL_CPPUTIL_TOOLS_COMMANDS_HPP

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "install/cpputil/InputFileParser.hpp"

namespace install_cpputil_tool {

constexpr int kUsageError = 2;

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// `text` on one line: every control character becomes '?'.
std::string one_line(std::string text);
/// Prints "install-cpputil: warning: " and `text` on one line of standard error.
void warn(std::string const& text);

/// Throws a UsageError naming `file` unless it is a regular file that can be read, or with
/// `pipes` a pipe already open: what the library would read as empty or wait on forever.
void require_input(std::string const& file, bool pipes = true);
/// Throws a UsageError naming `file` unless it is a regular file small enough to be copied
/// into the log.
void require_copyable(std::string const& file);
/// Throws a UsageError naming `file` where a log cannot be written without waiting.
void require_log(std::string const& file);
/// The property map of an input file; a file that cannot be read is a UsageError naming it.
/// Warns when the first line begins with a byte-order mark, which then stays in its key.
install::cpputil::PropertyMap parse_file(std::string const& file);
/// The single-text settings of a property map, as UTF-8.
std::map<std::string, std::string> single_settings(install::cpputil::PropertyMap const& map);

int parse_command(std::string const& file, bool json);
int check_command(std::string const& file, std::string const& rules_file,
                  std::optional<std::string> const& log_file);
/// Prints -1, 0 or 1; or, given a `relation` (lt le eq ne ge gt), answers by exit status.
int compare_command(std::string const& first, std::optional<std::string> const& relation,
                    std::string const& second);
int locale_command();
int sandbox_command(std::optional<std::string> const& root, bool quiet);
/// A file named "-" is standard input.
int log_command(std::string const& log_file, std::vector<std::string> const& messages,
                std::vector<std::string> const& files);

struct DemoOptions {
  std::string dir;
  std::string examples;
  int steps = 8;
  int step_ms = 400;
};
int demo_command(DemoOptions const& options);

}  // namespace install_cpputil_tool

#endif  // INSTALL_CPPUTIL_TOOLS_COMMANDS_HPP
