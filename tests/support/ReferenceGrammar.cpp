#include "ReferenceGrammar.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>
#include <string_view>
#include <vector>

namespace install::cpputil::reference {
namespace {

constexpr std::string_view kWhitespace = " \t\n\v\f\r";
constexpr std::array<std::string_view, 2> kListKeys{"product", "platform"};

std::string after_run(std::string const& line, std::size_t separator) {
  std::size_t const start = line.find_first_not_of(line[separator], separator);
  return start == std::string::npos ? std::string() : line.substr(start);
}

}  // namespace

std::string ltrim(std::string const& text) {
  std::size_t const first = text.find_first_not_of(kWhitespace);
  return first == std::string::npos ? std::string() : text.substr(first);
}

std::string rtrim(std::string const& text) {
  std::size_t const last = text.find_last_not_of(kWhitespace);
  return last == std::string::npos ? std::string() : text.substr(0, last + 1);
}

std::string trim(std::string const& text) { return rtrim(ltrim(text)); }

std::string lower(std::string const& text) {
  std::string out = text;
  for (char& byte : out) {
    byte = static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  }
  return out;
}

bool should_append(std::string const& line) {
  return line.find('#') != 0 && line.find_first_not_of(kWhitespace) != std::string::npos;
}

std::string settings_text(std::string const& file_bytes) {
  std::istringstream in(file_bytes);
  std::string result;
  for (std::string line; std::getline(in, line, '\n');) {
    line = trim(line);
    if (should_append(line)) {
      result += line + '\n';
    }
  }
  return result;
}

PropertyMap convert(std::string const& settings) {
  PropertyMap map;
  for (std::size_t position = 0, feed = settings.find('\n'); feed != std::string::npos;
       position = feed + 1, feed = settings.find('\n', position)) {
    std::string const line = settings.substr(position, feed - position);
    std::size_t const equals = line.find('=');
    bool const listed = std::any_of(kListKeys.begin(), kListKeys.end(), [&](auto name) {
      return line.find(std::string(name) + ".") != std::string::npos;
    });
    if (equals != std::string::npos) {
      ustring const key = utf8_to_ustring(lower(trim(line.substr(0, equals))));
      ustring const value = utf8_to_ustring(trim(after_run(line, equals)));
      std::string const narrow = ustring_to_utf8(key);
      if (!key.empty() &&
          std::find(kListKeys.begin(), kListKeys.end(), narrow) == kListKeys.end()) {
        map[key] = value;
      }
    } else if (listed) {
      std::size_t const dot = line.find('.');
      ustring const key = utf8_to_ustring(lower(trim(line.substr(0, dot))));
      ustring value = utf8_to_ustring(trim(after_run(line, dot)));
      std::replace(value.begin(), value.end(), u'_', u' ');
      auto const found = map.find(key);
      if (found == map.end()) {
        map[key] = std::vector<ustring>{value};
      } else if (auto* list = std::get_if<std::vector<ustring>>(&found->second)) {
        list->push_back(value);
      }
    }
  }
  return map;
}

}  // namespace install::cpputil::reference
