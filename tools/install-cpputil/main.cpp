// install-cpputil: the library's services from a shell.
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include <CLI/CLI.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/utility/setup/console.hpp>

#include "install/cpputil/diagnostics.hpp"

#include "install-cpputil/commands.hpp"
#include "install-cpputil/system.hpp"

namespace {

using namespace install_cpputil_tool;

// Installed examples sit beside the program's prefix; a build tree uses the sources'.
std::string default_examples() {
  std::error_code ignored;
  auto const self = own_path();
  auto const installed = self.parent_path().parent_path() / INSTALL_CPPUTIL_INSTALLED_EXAMPLES;
  if (!self.empty() && std::filesystem::is_directory(installed, ignored)) {
    return installed.string();
  }
  return INSTALL_CPPUTIL_SOURCE_EXAMPLES;
}

std::uint32_t parse_mask(std::string const& text) {
  try {
    std::size_t used = 0;
    unsigned long const mask = std::stoul(text, &used, 0);
    if (used == text.size() && mask <= 0xFFFFFFFFUL && text.find('-') == std::string::npos) {
      return static_cast<std::uint32_t>(mask);
    }
  } catch (std::logic_error const&) {
  }
  throw UsageError("not a trace mask: '" + text + "'");
}

// Our own sink keeps traces off standard output, where the commands print their results.
void trace_to_standard_error() {
  namespace expr = boost::log::expressions;
  boost::log::add_console_log(
      std::clog, boost::log::keywords::auto_flush = true,
      boost::log::keywords::format =
          (expr::stream << '[' << expr::attr<std::string>("Channel") << "] "
                        << expr::attr<int>("Severity") << ' ' << expr::smessage));
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Installer utilities: input files, rules, versions, the installation log.",
               "install-cpputil");
  app.set_version_flag("--version", "install-cpputil " INSTALL_CPPUTIL_VERSION);
  app.require_subcommand(1);
  std::string trace_mask;
  app.add_option("--trace", trace_mask,
                 "Trace every channel to standard error with this severity mask (e.g. 12)");

  std::string file;
  bool json = false;
  auto* parse = app.add_subcommand("parse", "Print the property map of an input file");
  parse->add_option("FILE", file, "Input file")->required();
  parse->add_flag("--json", json, "Print a JSON object (lists as arrays)");

  std::string rules;
  std::string log_to;
  auto* check = app.add_subcommand("check", "Validate an input file's settings against rules");
  check->add_option("FILE", file, "Input file")->required();
  check->add_option("--rules", rules, "Rule table: 'key = rule' lines, as an input file")
      ->required();
  auto* check_log = check->add_option("--log", log_to, "Installation log for failed file rules");

  std::string first;
  std::string second;
  auto* compare = app.add_subcommand("compare", "Compare two dotted versions: -1, 0 or 1");
  compare->add_option("A", first, "First version")->required();
  compare->add_option("B", second, "Second version")->required();

  auto* locale = app.add_subcommand("locale", "Print the installer locale, e.g. en_US");

  std::string root;
  auto* sandbox = app.add_subcommand("sandbox", "Tell whether a sandbox anchor is in place");
  auto* sandbox_root = sandbox->add_option("--root", root, "Installation root to examine");

  std::vector<std::string> messages;
  std::vector<std::string> files;
  auto* log = app.add_subcommand("log", "Append messages, then files, to an installation log");
  log->add_option("--to", log_to, "Installation log file")->required();
  log->add_option("--file", files, "File to copy into the log (repeatable)")
      ->allow_extra_args(false);
  log->add_option("MESSAGE", messages, "Messages to append");

  DemoOptions demo_options;
  auto* demo = app.add_subcommand("demo", "Run a typical installation on the shipped examples");
  demo->add_option("--dir", demo_options.dir, "Folder for the installation log")
      ->default_str("./demo-install");
  demo_options.dir = "./demo-install";
  demo_options.examples = default_examples();
  demo->add_option("--examples", demo_options.examples, "Folder of the example files");
  demo->add_option("--steps", demo_options.steps, "Work steps per product")
      ->check(CLI::Range(1, 1000));
  demo->add_option("--step-ms", demo_options.step_ms, "Milliseconds per step")
      ->check(CLI::Range(0, 60000));

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    int const status = app.exit(error);
    return status == 0 ? 0 : kUsageError;
  }

  try {
    if (!trace_mask.empty()) {
      install::cpputil::diagnostics::set_channel_mask("*", parse_mask(trace_mask));
      trace_to_standard_error();
    }
    if (*parse) {
      return parse_command(file, json);
    }
    if (*check) {
      return check_command(file, rules, *check_log ? std::optional(log_to) : std::nullopt);
    }
    if (*compare) {
      return compare_command(first, second);
    }
    if (*locale) {
      return locale_command();
    }
    if (*sandbox) {
      return sandbox_command(*sandbox_root ? std::optional(root) : std::nullopt);
    }
    if (*log) {
      return log_command(log_to, messages, files);
    }
    if (*demo) {
      return demo_command(demo_options);
    }
  } catch (UsageError const& error) {
    std::cerr << "install-cpputil: " << error.what() << '\n';
    return kUsageError;
  } catch (std::exception const& error) {
    std::cerr << "install-cpputil: " << error.what() << '\n';
    return 1;
  }
  return kUsageError;
}
