// Argument validation on arbitrary "<key>\n<value>\n<rule>" against a plain reading of the rules:
// same verdicts, and a violation throws std::invalid_argument with the exact text. File rules
// are left out: they touch the disk and the installation log.
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "install/cpputil/validate.hpp"

namespace cpputil = install::cpputil;

namespace {

void check(bool ok) {
  if (!ok) {
    std::abort();
  }
}

bool plain_strval(std::string const& value, std::string const& list) {
  std::size_t begin = 0;
  for (std::size_t i = 0; i <= list.size(); ++i) {
    if (i == list.size() || list[i] == ',') {
      if (list.substr(begin, i - begin) == value) {
        return true;
      }
      begin = i + 1;
    }
  }
  return false;
}

// The fuzzer runs under the classic locale, which folds ASCII letters only.
bool plain_boolval(std::string const& value) {
  std::string folded = value;
  for (char& c : folded) {
    if (c >= 'A' && c <= 'Z') {
      c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return folded == "true" || folded == "false" || folded == "yes" || folded == "no";
}

bool plain_intval(std::string const& value) {
  char* end = nullptr;
  errno = 0;
  long const number = std::strtol(value.c_str(), &end, 10);
  return end != value.c_str() && errno != ERANGE && number >= INT_MIN && number <= INT_MAX;
}

bool plain_passes(std::string const& value, std::string const& rule) {
  std::size_t const colon = rule.find(':');
  std::string const name = rule.substr(0, colon);
  if (name == "strval") {
    return plain_strval(value, colon == std::string::npos ? rule : rule.substr(colon + 1));
  }
  if (name == "boolval") {
    return plain_boolval(value);
  }
  return name != "intval" || plain_intval(value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const input(reinterpret_cast<char const*>(data), size);
  std::size_t const first = input.find('\n');
  std::size_t const second = first == std::string::npos ? first : input.find('\n', first + 1);
  std::string const key = input.substr(0, first);
  std::string const value =
      first == std::string::npos ? std::string() : input.substr(first + 1, second - first - 1);
  std::string const rule = second == std::string::npos ? std::string() : input.substr(second + 1);
  if (rule.substr(0, rule.find(':')) == "rfile") {
    return 0;
  }

  check(cpputil::validate_strval(value, rule) == plain_strval(value, rule));
  check(cpputil::validate_boolval(value) == plain_boolval(value));
  check(cpputil::validate_intval(value) == plain_intval(value));

  bool const passes = plain_passes(value, rule);
  try {
    cpputil::validate_arg(key, value, rule);
    check(passes);
  } catch (std::invalid_argument const& error) {
    check(!passes);
    // what() ends at the first NUL of the text.
    std::string const text = "key='" + key + "' value='" + value + "' rule='" + rule + "'";
    check(std::strcmp(error.what(), text.c_str()) == 0);
  }
  return 0;
}
