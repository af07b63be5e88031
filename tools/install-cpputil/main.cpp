// install-cpputil: the library's services from a shell.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <new>
#include <string_view>
#include <system_error>

#include <CLI/CLI.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/utility/setup/console.hpp>

#include "install/cpputil/diagnostics.hpp"

#include "install-cpputil/commands.hpp"
#include "install-cpputil/system.hpp"

namespace {

using namespace install_cpputil_tool;

constexpr char const* kExitStatuses = R"(Exit status:
  0        success
  1        check found settings that break their rules; compare A OP B or sandbox --quiet
           answers no
  2        an error, told in one line on standard error
  130/143  stopped by SIGINT (Ctrl-C) or SIGTERM)";

// Each command's --help lists its own exit statuses only.
constexpr char const* kSuccess = "Exit status:\n  0        success\n";
constexpr char const* kError = "  2        an error, told in one line on standard error";
constexpr char const* kStopped = "\n  130/143  stopped by SIGINT (Ctrl-C) or SIGTERM";

constexpr char const* kTraceHelp =
    "Trace every channel to standard error with this severity mask, decimal or 0x hexadecimal "
    "(e.g. 12 or 0x0C)";

// CLI11 fills positionals in order, so compare's optional OP is one of its own, and its usage
// line is written here.
class Formatter : public CLI::Formatter {
 public:
  std::string make_usage(CLI::App const* app, std::string name) const override {
    if (app->get_name() == "compare") {
      return get_label("Usage") + ": " + name + " [OPTIONS] A [OP] B\n";
    }
    return CLI::Formatter::make_usage(app, std::move(name));
  }
};

// Installed examples sit beside the program's prefix; a build tree uses the sources', found
// from the program's own folder so that a tree seen elsewhere (Wine's drive Z:) finds them too.
std::string default_examples() {
  std::error_code ignored;
  auto const self = own_path();
  auto const installed = self.parent_path().parent_path() / INSTALL_CPPUTIL_INSTALLED_EXAMPLES;
  if (!self.empty() && std::filesystem::is_directory(installed, ignored)) {
    return installed.u8string();
  }
  return (self.parent_path() / INSTALL_CPPUTIL_SOURCE_EXAMPLES).lexically_normal().u8string();
}

// As INSTALL_CPPUTIL_TRACE reads a mask: decimal, or hexadecimal after "0x"; no sign, 32 bits.
std::uint32_t parse_mask(std::string const& text) {
  std::string_view digits = text;
  int base = 10;
  if (digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
    digits.remove_prefix(2);
    base = 16;
  }
  std::uint32_t mask = 0;
  char const* const end = digits.data() + digits.size();
  auto const result = std::from_chars(digits.data(), end, mask, base);
  if (digits.empty() || result.ec != std::errc() || result.ptr != end) {
    throw UsageError("not a trace mask: '" + text + "'");
  }
  return mask;
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

// Every error ends the same way: one line, whatever the text holds.
int fail(std::string const& text) {
  std::cerr << "install-cpputil: " << one_line(text) << '\n';
  return kUsageError;
}

std::string usage_problem(CLI::App const& app, CLI::ParseError const& error) {
  std::string text = error.what();
  if (app.get_subcommands().empty() && !app.remaining().empty()) {
    text = "unknown command '" + app.remaining().front() + "'";
  }
  return text + " (see --help)";
}

int run(int argc, char** argv) {
  // First of all: INSTALL_CPPUTIL_TRACE may have turned channels on already, and while the core
  // has no sink, Boost.Log's default one prints onto standard output, among the results.
  trace_to_standard_error();

  CLI::App app("Installer utilities: input files, rules, versions, the installation log.",
               "install-cpputil");
  app.formatter(std::make_shared<Formatter>());
  app.footer(kExitStatuses);
  app.set_version_flag("--version", "install-cpputil " INSTALL_CPPUTIL_VERSION);
  app.require_subcommand(1);
  std::string trace_mask;
  std::vector<CLI::Option*> traces;
  // Before the command or after it, and shown in each command's --help.
  auto const add_trace = [&](CLI::App* command) {
    traces.push_back(command->add_option("--trace", trace_mask, kTraceHelp)->type_name("MASK"));
  };
  add_trace(&app);

  std::string file;
  bool json = false;
  auto* parse = app.add_subcommand("parse", "Print the property map of an input file");
  parse->add_option("FILE", file, "Input file")->required();
  parse->add_flag("--json", json, "Print a JSON object (lists as arrays)");
  parse->footer(std::string(kSuccess) + kError);

  std::string rules;
  std::string log_to;
  auto* check = app.add_subcommand("check", "Validate an input file's settings against rules");
  check->add_option("FILE", file, "Input file")->required();
  check->add_option("--rules", rules, "Rule table: 'key = rule' lines, as an input file")
      ->required();
  auto* check_log = check->add_option("--log", log_to, "Installation log for failed file rules");
  check->footer(std::string("Exit status:\n  0        every setting keeps its rule\n"
                            "  1        settings break their rules, each printed on a line\n") +
                kError);

  std::string first;
  std::string relation;
  std::string second;
  auto* compare = app.add_subcommand(
      "compare", "Compare two dotted versions: print -1, 0 or 1, or answer A OP B by exit status");
  compare->add_option("A", first, "First version")->required();
  auto* compare_relation = compare->add_option(
      "OP", relation, "lt, le, eq, ne, ge or gt: print nothing, answer by exit status");
  auto* compare_second = compare->add_option("B", second, "Second version");
  compare->footer(std::string("Exit status:\n  0        A B: printed; A OP B: true\n"
                              "  1        A OP B: false\n") +
                  kError);

  auto* locale = app.add_subcommand("locale", "Print the installer locale, e.g. en_US");
  locale->footer(std::string(kSuccess) + kError);

  std::string root;
  bool quiet = false;
  auto* sandbox = app.add_subcommand("sandbox", "Tell whether a sandbox anchor is in place");
  auto* sandbox_root =
      sandbox
          ->add_option("--root", root,
                       "Installation root to examine: the anchor qx_anchor is looked for beside "
                       "DIR, in its parent folder")
          ->type_name("DIR");
  sandbox->add_flag("-q,--quiet", quiet, "Print nothing, answer by exit status");
  sandbox->footer(std::string("Exit status:\n  0        printed; with --quiet: the anchor is in "
                              "place\n  1        with --quiet: no anchor\n") +
                  kError);

  std::vector<std::string> messages;
  std::vector<std::string> files;
  auto* log = app.add_subcommand("log", "Append messages, then files, to an installation log");
  log->add_option("--to", log_to, "Installation log file")->required();
  log->add_option("--file", files, "File to copy into the log (repeatable; - is standard input)")
      ->allow_extra_args(false);
  log->add_option("MESSAGE", messages, "Messages to append");
  log->footer(std::string(kSuccess) + kError + kStopped);

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
  demo->footer(std::string(kSuccess) + kError + kStopped);

  for (auto* command : {parse, check, compare, locale, sandbox, log, demo}) {
    add_trace(command);
  }

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    if (error.get_exit_code() == 0) {
      return app.exit(error);  // --help or --version
    }
    return fail(usage_problem(app, error));
  }

  int status = kUsageError;
  try {
    if (std::any_of(traces.begin(), traces.end(),
                    [](CLI::Option const* option) { return option->count() > 0; })) {
      install::cpputil::diagnostics::set_channel_mask("*", parse_mask(trace_mask));
    }
    if (*parse) {
      status = parse_command(file, json);
    } else if (*check) {
      status = check_command(file, rules, *check_log ? std::optional(log_to) : std::nullopt);
    } else if (*compare) {
      if (!*compare_relation) {
        throw UsageError("B is required (see --help)");
      }
      // With two operands, the second stands in OP's place.
      status = *compare_second ? compare_command(first, relation, second)
                               : compare_command(first, std::nullopt, relation);
    } else if (*locale) {
      status = locale_command();
    } else if (*sandbox) {
      status = sandbox_command(*sandbox_root ? std::optional(root) : std::nullopt, quiet);
    } else if (*log) {
      status = log_command(log_to, messages, files);
    } else if (*demo) {
      status = demo_command(demo_options);
    }
  } catch (std::bad_alloc const&) {
    return fail("out of memory");
  } catch (std::exception const& error) {
    return fail(error.what());
  }
  if (std::cout.flush().bad()) {
    return fail("cannot write to standard output");
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    std::vector<std::string> arguments = install_cpputil_tool::utf8_arguments(argc, argv);
    std::vector<char*> pointers;
    pointers.reserve(arguments.size());
    for (auto& argument : arguments) {
      pointers.push_back(argument.data());
    }
    return run(static_cast<int>(pointers.size()), pointers.data());
  } catch (std::exception const& error) {  // setting the tool up: out of memory
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): allocates nothing, as memory may be short
    static_cast<void>(std::fprintf(stderr, "install-cpputil: %s\n", error.what()));
    return kUsageError;
  }
}
