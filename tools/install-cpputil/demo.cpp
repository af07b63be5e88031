// The typical installation, end to end: a log, the input file, its validation, progress, a side
// file copied into the log, and work that a Ctrl-C unwinds through the interrupt flag.
#include <chrono>
#include <fstream>
#include <iostream>
#include <thread>

#include "install/cpputil/InputFileParser.hpp"
#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/validate.hpp"

#include "install-cpputil/commands.hpp"
#include "install-cpputil/system.hpp"

namespace install_cpputil_tool {

namespace cpputil = install::cpputil;
using cpputil::logger::append_message;

namespace {

std::vector<std::string> list_setting(cpputil::PropertyMap const& map, char16_t const* key) {
  std::vector<std::string> entries;
  auto const found = map.find(key);
  if (found != map.end()) {
    if (auto const* list = std::get_if<std::vector<cpputil::ustring>>(&found->second)) {
      for (auto const& entry : *list) {
        entries.push_back(cpputil::ustring_to_utf8(entry));
      }
    }
  }
  return entries;
}

// The installation proper; returns normally or unwinds with interrupt::Exception. The progress
// line, redrawn with carriage returns, is for a terminal only: in a file or a pipe they pile up.
void install(DemoOptions const& options, std::string const& examples, bool progress) {
  auto const inputs = parse_file(examples + "/input.txt");
  auto const rules = single_settings(parse_file(examples + "/rules.txt"));
  auto const settings = single_settings(inputs);
  cpputil::validate_args(settings, rules);
  append_message("Arguments validated against " + std::to_string(rules.size()) + " rules.");
  for (auto const& [key, value] : settings) {
    append_message(std::string("  ").append(key).append(" = ").append(value));
  }
  cpputil::logger::append_file(examples + "/components.txt");

  auto const products = list_setting(inputs, u"product");
  int const total = options.steps * static_cast<int>(products.size());
  int done = 0;
  for (auto const& product : products) {
    append_message("Installing " + product + "...");
    for (int step = 0; step < options.steps; ++step) {
      cpputil::interrupt::throw_if_set("");
      std::this_thread::sleep_for(std::chrono::milliseconds(options.step_ms));
      ++done;
      if (progress) {
        std::cout << "\r  " << product << ": " << (100 * done / total) << "% " << std::flush;
      }
    }
    append_message("Installed " + product + ".");
  }
  if (progress) {
    std::cout << '\n';
  }
}

}  // namespace

int demo_command(DemoOptions const& options) {
  std::string const log_file = options.dir + "/install.log";
  require_log(log_file);
  require_input(options.examples + "/input.txt");
  require_input(options.examples + "/rules.txt");
  require_copyable(options.examples + "/components.txt");
  int status = 0;
  {
    StopRelay const relay;
    std::optional<cpputil::logger::Logger> log;
    try {
      log.emplace(log_file);
    } catch (std::runtime_error const& error) {
      throw UsageError(error.what());
    }
    append_message("Setup begun.");
    std::cout << "Installing (press Ctrl-C to cancel)...\n";
    try {
      install(options, options.examples, standard_output_is_terminal());
      append_message("Setup finished.");
    } catch (cpputil::interrupt::Exception const& interrupted) {
      std::cout << "\nCancelled.\n";
      append_message(interrupted.what());
      status = relay.exit_status();
    } catch (std::invalid_argument const& violation) {
      append_message(std::string("Invalid input: ") + violation.what());
      throw UsageError(std::string("invalid input: ") + violation.what());
    }
  }
  std::cout << "\nInstallation log: " << log_file << "\n\n";
  std::ifstream log(std::filesystem::u8path(log_file));  // UTF-8, whatever the code page
  std::cout << log.rdbuf();
  return status;
}

}  // namespace install_cpputil_tool
