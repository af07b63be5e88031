// Argument validation on arbitrary "<key>\n<value>\n<rule>" against a plain reading of the rules:
// same verdicts, and a violation throws std::invalid_argument with the exact text. File rules
// are left out: they touch the disk and the installation log.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <sstream>
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
  return value.find(',') == std::string::npos &&
         ("," + list + ",").find("," + value + ",") != std::string::npos;
}

// The fuzzer runs under the classic locale, which folds ASCII letters only.
bool plain_boolval(std::string value) {
  std::transform(value.begin(), value.end(), value.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return value == "true" || value == "false" || value == "yes" || value == "no";
}

bool plain_intval(std::string const& value) {
  char* end = nullptr;
  errno = 0;
  long const number = std::strtol(value.c_str(), &end, 10);
  return end != value.c_str() && errno != ERANGE && number >= INT_MIN && number <= INT_MAX;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::istringstream in(std::string(reinterpret_cast<char const*>(data), size));
  std::string key, value;
  std::getline(in, key);
  std::getline(in, value);
  std::string const rule(std::istreambuf_iterator<char>(in), {});
  std::size_t const colon = rule.find(':');
  std::string const name = rule.substr(0, colon);
  if (name == "rfile") {
    return 0;
  }

  check(cpputil::validate_strval(value, rule) == plain_strval(value, rule));
  check(cpputil::validate_boolval(value) == plain_boolval(value));
  check(cpputil::validate_intval(value) == plain_intval(value));

  // Without a colon the whole rule is the strval list; unknown names pass everything.
  std::string const argument = colon == std::string::npos ? rule : rule.substr(colon + 1);
  bool const passes = name == "strval"    ? plain_strval(value, argument)
                      : name == "boolval" ? plain_boolval(value)
                                          : name != "intval" || plain_intval(value);
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
