// The parser on arbitrary bytes as settings text, against a plain, unoptimised reading of the
// format written independently of the library's. (Files are read by the named rules of the
// library's test.)
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "install/cpputil/InputFileParser.hpp"

#include "tests/support/Printed.hpp"

namespace {

using namespace install::cpputil;
using testing::check_same;

constexpr std::string_view kWhitespace = " \t\n\v\f\r";
constexpr std::array<std::string_view, 2> kListKeys{"product", "platform"};

std::string ltrim(std::string const& text) {
  return text.substr(std::min(text.find_first_not_of(kWhitespace), text.size()));
}

std::string rtrim(std::string const& text) {
  return text.substr(0, text.find_last_not_of(kWhitespace) + 1);
}

std::string trim(std::string const& text) { return rtrim(ltrim(text)); }

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
  return text;
}

bool should_append(std::string const& line) {
  return line.find('#') != 0 && line.find_first_not_of(kWhitespace) != std::string::npos;
}

// What follows the run of separators at `separator`.
std::string after_run(std::string const& line, std::size_t separator) {
  std::size_t const start = line.find_first_not_of(line[separator], separator);
  return start == std::string::npos ? std::string() : line.substr(start);
}

PropertyMap convert(std::string const& settings) {
  PropertyMap map;
  std::istringstream in(settings);
  for (std::string line; std::getline(in, line) && !in.eof();) {
    std::size_t const equals = line.find('=');
    bool const listed = std::any_of(kListKeys.begin(), kListKeys.end(), [&](auto name) {
      return line.find(std::string(name) + ".") != std::string::npos;
    });
    if (equals != std::string::npos) {
      std::string const key = lower(trim(line.substr(0, equals)));
      if (!key.empty() && std::find(kListKeys.begin(), kListKeys.end(), key) == kListKeys.end()) {
        map[utf8_to_ustring(key)] = utf8_to_ustring(trim(after_run(line, equals)));
      }
    } else if (listed) {
      std::size_t const dot = line.find('.');
      ustring value = utf8_to_ustring(trim(after_run(line, dot)));
      std::replace(value.begin(), value.end(), u'_', u' ');
      auto const [found, added] = map.try_emplace(utf8_to_ustring(lower(trim(line.substr(0, dot)))),
                                                  std::vector<ustring>{value});
      if (auto* list = std::get_if<std::vector<ustring>>(&found->second); list && !added) {
        list->push_back(value);
      }
    }
  }
  return map;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  InputFileParser parser;
  check_same("convertInputsToPropertyMap", parser.convertInputsToPropertyMap(text), convert(text));
  check_same("ltrim", parser.ltrim(text), ltrim(text));
  check_same("rtrim", parser.rtrim(text), rtrim(text));
  check_same("trim", parser.trim(text), trim(text));
  check_same("stringToLowerCase", parser.stringToLowerCase(text), lower(text));
  check_same("shouldAppend", shouldAppend(text), should_append(text));
  return 0;
}
