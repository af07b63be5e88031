#include "install/cpputil/validate.hpp"

#include <algorithm>
#include <array>
#include <locale>
#include <stdexcept>
#include <string_view>

#include <boost/algorithm/string/predicate.hpp>

#include "install/cpputil/Path.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/ustring.hpp"

#include "platform/file.hpp"
#include "platform/filesystem.hpp"

namespace install::cpputil {
namespace {

enum class Failure { none, invalid_argument, runtime_error };

Failure check(std::string const& value, std::string const& rule) {
  std::size_t const colon = rule.find(':');
  std::string const name = rule.substr(0, colon);
  if (name == "strval") {
    // Without a colon the whole rule string stands as the list of allowed values.
    std::string const allowed = colon == std::string::npos ? rule : rule.substr(colon + 1);
    return validate_strval(value, allowed) ? Failure::none : Failure::invalid_argument;
  }
  if (name == "boolval") {
    return validate_boolval(value) ? Failure::none : Failure::invalid_argument;
  }
  if (name == "intval") {
    return validate_intval(value) ? Failure::none : Failure::invalid_argument;
  }
  if (name == "rfile") {
    return validate_rfile(value) ? Failure::none : Failure::runtime_error;
  }
  return Failure::none;  // unknown rules, the empty one included, accept every value
}

}  // namespace

bool validate_strval(std::string const& value, std::string const& allowed) {
  std::string_view rest(allowed);
  for (;;) {
    std::size_t const comma = rest.find(',');
    if (comma == std::string_view::npos) {
      return rest == value;
    }
    if (rest.substr(0, comma) == value) {
      return true;
    }
    rest.remove_prefix(comma + 1);
  }
}

bool validate_boolval(std::string const& value) {
  static constexpr std::array<char const*, 4> kWords = {"true", "false", "yes", "no"};
  std::locale const locale;
  return std::any_of(kWords.begin(), kWords.end(), [&](char const* word) {
    return boost::algorithm::iequals(value, word, locale);
  });
}

bool validate_intval(std::string const& value) {
  try {
    static_cast<void>(std::stoi(value));
    return true;
  } catch (...) {
    return false;
  }
}

bool validate_rfile(std::string const& path) {
  Path const file_path(utf8_to_ustring(path));
  if (!platform::exists(file_path)) {
    return false;
  }
  // Only a regular file has a size to count: a FIFO or device is no readable file, and
  // opening one never blocks.
  platform::File const file = platform::File::open_read(file_path.text());
  return file.is_regular() && file.size() > 0;
}

void validate_arg(std::string const& key, std::string const& value, std::string const& rule) {
  Failure const failure = check(value, rule);
  if (failure == Failure::none) {
    return;
  }
  std::string const what = "key='" + key + "' value='" + value + "' rule='" + rule + "'";
  if (failure == Failure::runtime_error) {
    logger::append_message(utf8_to_ustring("Error reading file " + value));
    logger::append_message(utf8_to_ustring("File '" + value + "' does not exist or it's empty"));
    throw std::runtime_error(what);
  }
  throw std::invalid_argument(what);
}

void validate_args(std::map<std::string, std::string> const& arguments,
                   std::map<std::string, std::string> const& rules) {
  if (arguments.empty() || rules.empty()) {
    return;
  }
  for (auto const& [key, value] : arguments) {
    auto const rule = rules.find(key);
    if (rule != rules.end()) {
      validate_arg(key, value, rule->second);
    }
  }
}

}  // namespace install::cpputil
