// The parser on arbitrary bytes, as settings text and as a file read and parsed, against a
// plain, unoptimised reading of the format written independently of the library's.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <string_view>

#include <unistd.h>

#include "install/cpputil/InputFileParser.hpp"

namespace {

using namespace install::cpputil;

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

std::string settings_text(std::string const& file_bytes) {
  std::istringstream in(file_bytes);
  std::string result;
  for (std::string line; std::getline(in, line, '\n');) {
    if (should_append(trim(line))) {
      result += trim(line) + '\n';
    }
  }
  return result;
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

void check(bool ok) {
  if (!ok) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const text(reinterpret_cast<char const*>(data), size);
  InputFileParser parser;
  check(parser.convertInputsToPropertyMap(text) == convert(text));
  check(parser.ltrim(text) == ltrim(text) && parser.rtrim(text) == rtrim(text) &&
        parser.trim(text) == trim(text));
  check(parser.stringToLowerCase(text) == lower(text) && shouldAppend(text) == should_append(text));

  static std::string const file = [] {  // a name of its own for the run
    std::string name = (std::filesystem::temp_directory_path() / "cpputil-parse-XXXXXX").string();
    check(::close(::mkstemp(name.data())) == 0);
    return name;
  }();
  std::FILE* out = std::fopen(file.c_str(), "wb");
  check(out != nullptr && std::fwrite(data, 1, size, out) == size && std::fclose(out) == 0);
  check(parser.getUserInputsFromFile(utf8_to_ustring(file)) == settings_text(text));
  check(parser.parse(utf8_to_ustring(file)) == convert(settings_text(text)));
  std::remove(file.c_str());
  return 0;
}
