#include "install-cpputil/commands.hpp"

#include <filesystem>
#include <iostream>
#include <map>
#include <new>
#include <vector>

#include <nlohmann/json.hpp>

#include "install/cpputil/InputFileParser.hpp"
#include "install/cpputil/SandboxWorkflowDetector.hpp"
#include "install/cpputil/VersionComparator.hpp"
#include "install/cpputil/installer_locale.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/platform.hpp"
#include "install/cpputil/validate.hpp"

#include "install-cpputil/system.hpp"

namespace install_cpputil_tool {

namespace cpputil = install::cpputil;
using cpputil::ustring_to_utf8;
using cpputil::utf8_to_ustring;

namespace {

// Standard input is held in memory, in several forms, before it is written as one record, and
// so is a file with --trace 4; and a log is read by people.
constexpr std::uintmax_t kLargestCopy = std::uintmax_t{256} << 20U;
char const* const kTooLarge = ": larger than 256 MiB, too large to copy into the log";
char const* const kStandardInput = "-";

}  // namespace

std::string one_line(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      c = '?';
    }
  }
  return text;
}

void warn(std::string const& text) {
  std::cerr << "install-cpputil: warning: " << one_line(text) << '\n';
}

void require_input(std::string const& file, bool pipes) {
  if (auto const problem = input_problem(file, pipes)) {
    throw UsageError(file + ": " + *problem);
  }
}

void require_log(std::string const& file) {
  if (auto const problem = log_problem(file)) {
    throw UsageError(file + ": " + *problem);
  }
}

cpputil::PropertyMap parse_file(std::string const& file) {
  require_input(file);
  try {
    // What parse does, in its two steps, so that the text can be looked at between them.
    cpputil::InputFileParser parser;
    std::string const text = parser.getUserInputsFromFile(utf8_to_ustring(file));
    if (text.rfind("\xEF\xBB\xBF", 0) == 0) {
      warn(file + ": the first line begins with a byte-order mark, which stays part of its key");
    }
    return text.empty() ? cpputil::PropertyMap{} : parser.convertInputsToPropertyMap(text);
  } catch (std::bad_alloc const&) {
    throw UsageError(file + ": too large to read");
  } catch (std::runtime_error const& error) {
    throw UsageError(file + ": " + error.what());
  }
}

std::map<std::string, std::string> single_settings(cpputil::PropertyMap const& map) {
  std::map<std::string, std::string> settings;
  for (auto const& [key, value] : map) {
    if (auto const* text = std::get_if<cpputil::ustring>(&value)) {
      settings.emplace(ustring_to_utf8(key), ustring_to_utf8(*text));
    }
  }
  return settings;
}

namespace {

std::string quoted(cpputil::ustring const& text) {
  return nlohmann::json(ustring_to_utf8(text)).dump();
}

// Written in one pass in the map's order, as dump(2) lays it out: an ordered JSON object would
// look every key up linearly while it is built.
void print_json(cpputil::PropertyMap const& map) {
  std::string out = "{";
  for (auto const& [key, value] : map) {
    out += out.size() == 1 ? "\n  " : ",\n  ";
    out += quoted(key) + ": ";
    if (auto const* text = std::get_if<cpputil::ustring>(&value)) {
      out += quoted(*text);
      continue;
    }
    auto const& list = std::get<std::vector<cpputil::ustring>>(value);
    out += '[';
    for (auto const& entry : list) {
      out += (&entry == list.data() ? "\n    " : ",\n    ") + quoted(entry);
    }
    out += list.empty() ? "]" : "\n  ]";
  }
  out += map.empty() ? "}\n" : "\n}\n";
  std::cout << out;
}

}  // namespace

int parse_command(std::string const& file, bool json) {
  auto const map = parse_file(file);
  if (json) {
    print_json(map);
    return 0;
  }
  for (auto const& [key, value] : map) {
    std::string const name = ustring_to_utf8(key);
    if (auto const* text = std::get_if<cpputil::ustring>(&value)) {
      std::cout << name << " = " << ustring_to_utf8(*text) << '\n';
    } else {
      for (auto const& entry : std::get<std::vector<cpputil::ustring>>(value)) {
        std::cout << name << "[] = " << ustring_to_utf8(entry) << '\n';
      }
    }
  }
  return 0;
}

int check_command(std::string const& file, std::string const& rules_file,
                  std::optional<std::string> const& log_file) {
  auto const settings = single_settings(parse_file(file));
  auto const rules = single_settings(parse_file(rules_file));
  std::optional<cpputil::logger::Logger> log;
  if (log_file) {
    require_log(*log_file);
    try {
      log.emplace(*log_file);
    } catch (std::runtime_error const& error) {
      throw UsageError(error.what());
    }
  }
  // Every violation, not only the first that validate_args would stop at.
  int violations = 0;
  for (auto const& [key, value] : settings) {
    auto const rule = rules.find(key);
    if (rule == rules.end()) {
      continue;
    }
    try {
      cpputil::validate_arg(key, value, rule->second);
    } catch (std::exception const& error) {
      std::cout << error.what() << '\n';
      ++violations;
    }
  }
  return violations == 0 ? 0 : 1;
}

int compare_command(std::string const& first, std::optional<std::string> const& relation,
                    std::string const& second) {
  static std::map<std::string, bool (*)(int)> const relations = {
      {"lt", [](int order) { return order < 0; }},  {"le", [](int order) { return order <= 0; }},
      {"eq", [](int order) { return order == 0; }}, {"ne", [](int order) { return order != 0; }},
      {"ge", [](int order) { return order >= 0; }}, {"gt", [](int order) { return order > 0; }}};
  auto const holds = relation ? relations.find(*relation) : relations.end();
  if (relation && holds == relations.end()) {
    throw UsageError("not a comparison operator: '" + *relation + "' (lt, le, eq, ne, ge or gt)");
  }
  cpputil::VersionComparator const comparator;
  auto const a = utf8_to_ustring(first);
  auto const b = utf8_to_ustring(second);
  // Each on its own first, since a comparison stops at the first piece that differs; a version
  // compared with itself reads every piece of it.
  for (auto const* version : {&first, &second}) {
    auto const text = utf8_to_ustring(*version);
    try {
      comparator.compareVersionNumbers(text, text);
    } catch (std::logic_error const&) {
      throw UsageError("not a version number: '" + *version + "'");
    }
  }
  int const order = comparator.compareVersionNumbers(a, b);
  if (relation) {
    return holds->second(order) ? 0 : 1;
  }
  std::cout << order << '\n';
  return 0;
}

int locale_command() {
  std::cout << ustring_to_utf8(cpputil::installer_locale::getLocale()) << '\n';
  return 0;
}

int sandbox_command(std::optional<std::string> const& root, bool quiet) {
  if (root) {
    cpputil::platform::set_install_path(utf8_to_ustring(*root));
  }
  bool const anchored = cpputil::SandboxWorkflowDetector().isSandboxWorkflow();
  if (quiet) {
    return anchored ? 0 : 1;
  }
  std::cout << (anchored ? "true" : "false") << '\n';
  return 0;
}

void require_copyable(std::string const& file) {
  require_input(file, false);
  std::error_code ignored;
  if (auto const size = std::filesystem::file_size(std::filesystem::u8path(file), ignored);
      !ignored && size > kLargestCopy) {
    throw UsageError(file + kTooLarge);
  }
}

namespace {

std::string read_standard_input() {
  std::string data;
  std::vector<char> chunk(std::size_t{1} << 16U);
  while (std::cin.read(chunk.data(), static_cast<std::streamsize>(chunk.size())) ||
         std::cin.gcount() > 0) {
    data.append(chunk.data(), static_cast<std::size_t>(std::cin.gcount()));
    if (data.size() > kLargestCopy) {
      throw UsageError(kStandardInput + std::string(kTooLarge));
    }
  }
  if (std::cin.bad()) {
    throw UsageError("-: cannot read standard input");
  }
  return data;
}

// Framed as append_file frames a file's lines, each ended by a line feed.
std::string standard_input_record(std::string const& data) {
  std::string record = "Content of the file -\n" + data;
  if (!data.empty() && data.back() != '\n') {
    record += '\n';
  }
  return record + "End of the file -";
}

}  // namespace

int log_command(std::string const& log_file, std::vector<std::string> const& messages,
                std::vector<std::string> const& files) {
  // Everything is checked, and standard input read, before the first record, so a refusal
  // leaves the log as it was.
  require_log(log_file);
  std::optional<std::string> standard_input;
  for (auto const& file : files) {
    if (file != kStandardInput) {
      require_copyable(file);
    } else if (!standard_input) {
      standard_input = read_standard_input();
    }
  }
  // A stop waits for the record in flight, so that none is left cut short.
  StopHold stop;
  std::optional<cpputil::logger::Logger> log;
  try {
    log.emplace(log_file);
  } catch (std::runtime_error const& error) {
    throw UsageError(error.what());
  }
  for (auto const& message : messages) {
    if (int const status = stop.exit_status(); status != 0) {
      return status;
    }
    cpputil::logger::append_message(message);
  }
  for (auto const& file : files) {
    if (int const status = stop.exit_status(); status != 0) {
      return status;
    }
    if (file == kStandardInput) {
      cpputil::logger::append_message(standard_input_record(*standard_input));
      continue;
    }
    try {
      cpputil::logger::append_file(file);
    } catch (std::bad_alloc const&) {
      throw UsageError(file + ": too large to copy into the log");
    } catch (std::runtime_error const& error) {
      throw UsageError(file + ": " + error.what());
    }
  }
  return stop.exit_status();
}

}  // namespace install_cpputil_tool
